/// \file
/// Records of binary files. Those written here are all little-endian, as the machine is.
#pragma once

#include <bit>
#include <string>
#include <type_traits>

namespace qvmesh {

static_assert(std::endian::native == std::endian::little);

template <class Record>
void appendBytes(std::string& file, const Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    file.append(reinterpret_cast<const char*>(&record), sizeof record);
}

} // namespace qvmesh
