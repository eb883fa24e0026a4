#include "qvGeom/foundation/geometry/Array.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>

namespace qvGeom::detail {
namespace {

constexpr std::size_t kPage = std::size_t{64} << 10; // the largest usual one: the smaller divide it
constexpr std::size_t kHugePage = std::size_t{2} << 20;

// Blocks from this size on bypass the heap, which would keep the memory of a freed one for itself
// and hand out memory by small pages, whose first touch is most of what a large block costs.
constexpr std::size_t kLargeFrom = kHugePage;

std::size_t wholePages(std::size_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }

/// Maps `bytes` bytes, a number of whole pages, from the start of a huge page on.
void* mapLarge(std::size_t bytes) {
    const std::size_t mapped = bytes + kHugePage;
    void* const memory =
        mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    const std::size_t before = (0 - reinterpret_cast<std::uintptr_t>(memory)) % kHugePage;
    char* const start = static_cast<char*>(memory) + before;
    if (before > 0)
        munmap(memory, before);
    munmap(start + bytes, kHugePage - before);
    static_cast<void>(madvise(start, bytes, MADV_HUGEPAGE)); // a refusal changes nothing
    return start;
}

} // namespace

void* allocateZeroed(std::size_t bytes) {
    if (bytes >= kLargeFrom)
        return mapLarge(wholePages(bytes));
    void* const memory = std::calloc(bytes, 1);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void freeZeroed(void* memory, std::size_t bytes) noexcept {
    if (bytes >= kLargeFrom && memory)
        munmap(memory, wholePages(bytes));
    else
        std::free(memory);
}

} // namespace qvGeom::detail
