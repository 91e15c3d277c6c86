// Large pages by the system's advice call, which takes whole pages only.
#include "platform/huge_pages.h"

#include <sys/mman.h>
#include <unistd.h>

namespace lumo {

void preferHugePages(void* buffer, std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    auto* const begin = static_cast<std::byte*>(buffer);
    const std::size_t skipped = (page - reinterpret_cast<std::size_t>(begin) % page) % page;
    if (bytes < skipped + page) return;
    madvise(begin + skipped, (bytes - skipped) / page * page, MADV_HUGEPAGE);
#endif
}

}  // namespace lumo
