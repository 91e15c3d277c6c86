// What the allocator knows of a block.
#include "platform/memory.h"

#include <malloc.h>

std::size_t lumo::blockSize(void* block) noexcept {
    return malloc_usable_size(block);
}
