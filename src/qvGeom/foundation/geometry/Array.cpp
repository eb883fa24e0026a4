#include "qvGeom/foundation/geometry/Array.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>

namespace qvGeom::detail {
namespace {

constexpr std::size_t kHugeFrom = std::size_t{4} << 20;
constexpr std::size_t kPage = 4096;

} // namespace

void* allocateZeroed(std::size_t bytes) {
    void* const memory = std::calloc(bytes, 1);
    if (!memory)
        throw std::bad_alloc();
    if (bytes >= kHugeFrom) {
        // First touch of a large block is most of what it costs; huge pages make it cheap. Only
        // whole pages of our own may be advised, and a refusal changes nothing.
        const std::size_t toFirstPage = (0 - reinterpret_cast<std::uintptr_t>(memory)) % kPage;
        const std::size_t length = (bytes - toFirstPage) / kPage * kPage;
        static_cast<void>(madvise(static_cast<char*>(memory) + toFirstPage, length, MADV_HUGEPAGE));
    }
    return memory;
}

void freeZeroed(void* memory) noexcept { std::free(memory); }

} // namespace qvGeom::detail
