/// \file
/// A lookup table from keys to values in one sorted array.
#pragma once

#include <algorithm>

#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

template <class K, class V>
struct Pair {
    K key;
    V value;
};

/// An array of pairs. Fill it in any order, call sort() once, then look keys up in logarithmic
/// time; of equal keys the one filled in first is found.
template <class K, class V>
class ArrayMap : public Array<Pair<K, V>> {
public:
    using Array<Pair<K, V>>::Array;

    void sort() { std::stable_sort(this->begin(), this->end(), isBefore); }

    /// The value stored under `key`, or null when there is none.
    const V* find(const K& key) const {
        const Pair<K, V>* const found =
            std::lower_bound(this->begin(), this->end(), key,
                             [](const Pair<K, V>& pair, const K& k) { return pair.key < k; });
        return found != this->end() && !(key < found->key) ? &found->value : nullptr;
    }

private:
    static bool isBefore(const Pair<K, V>& a, const Pair<K, V>& b) { return a.key < b.key; }
};

} // namespace qvGeom
