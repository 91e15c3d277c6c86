/* Loaded before the C library: the allocation whose number FAILING_MALLOC holds fails, all others
 * work. At the end the number of allocations goes to the descriptor in MALLOC_COUNT. */
#include <errno.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static atomic_long allocations;
static long failing = -1;
static pid_t process;

__attribute__((constructor)) static void start(void) {
    const char* text = getenv("FAILING_MALLOC");
    process = getpid();
    allocations = 0;
    if (text != NULL) failing = atol(text);
}

__attribute__((destructor)) static void finish(void) {
    const char* descriptor = getenv("MALLOC_COUNT");
    if (descriptor != NULL && getpid() == process) dprintf(atoi(descriptor), "%ld", allocations);
}

static int fails(void) {
    if (atomic_fetch_add(&allocations, 1) != failing) return 0;
    errno = ENOMEM;
    return 1;
}

void* malloc(size_t size) {
    return fails() ? NULL : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    return fails() ? NULL : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    return fails() ? NULL : __libc_realloc(block, size);
}
