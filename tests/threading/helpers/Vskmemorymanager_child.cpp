// Vskmemorymanager_child.cpp - the child program of the block pool's fatal
// cases. Each case misuses a pool the way its argument says; a pool that
// ends the process leaves exit code 1 behind. A case that returns normally
// exits with 2 (0 for the cases that misuse nothing). Built twice: against
// the library (vsk_pool_child) and with a debug build of the pool's own
// source (vsk_pool_debug_child).
//   small <blockSize> <align 0|1>   constructs CMemoryManagerPool(blockSize, 4096, align)
//   foreign-large                   frees an alloc(17) of a 16-byte pool
//   foreign-stack                   frees the address of a local variable
//   foreign-interior                frees a pooled block's address plus one
//   foreign-other-pool              frees a block of one pool into another
//   double-free                     frees the same block twice in a row
//   double-free-between             frees a block, another block, then the first again
//   free-alloc-free                 frees a block, gets it back from alloc, frees it again (no misuse)
//   foreign-fresh-after-reuse       frees a block, gets it back from alloc, then frees the
//                                   chunk's next block, which alloc never handed out
//   control                         allocates and frees one block properly
#include "threading/Vskmemorymanager.h"

#include <cstdlib>
#include <cstring>

namespace {

int Small(int argc, char** argv) {
    if (argc < 4)
        return 3;
    vsk::CMemoryManagerPool pool(static_cast<unsigned int>(std::atoi(argv[2])), 4096, std::atoi(argv[3]) != 0);
    return pool.alloc(1) ? 2 : 4;
}

int Foreign(const char* which) {
    vsk::CMemoryManagerPool pool(16, 8180, true);
    if (std::strcmp(which, "foreign-large") == 0) {
        pool.free(pool.alloc(17));
    } else if (std::strcmp(which, "foreign-stack") == 0) {
        int local = 0;
        pool.free(&local);
    } else if (std::strcmp(which, "foreign-interior") == 0) {
        pool.free(static_cast<char*>(pool.alloc(16)) + 1);
    } else if (std::strcmp(which, "foreign-other-pool") == 0) {
        vsk::CMemoryManagerPool other(16, 8180, true);
        pool.free(other.alloc(16));
    } else if (std::strcmp(which, "double-free") == 0) {
        void* block = pool.alloc(16);
        pool.alloc(16);
        pool.free(block);
        pool.free(block);
    } else if (std::strcmp(which, "double-free-between") == 0) {
        void* first = pool.alloc(16);
        void* second = pool.alloc(16);
        pool.free(first);
        pool.free(second);
        pool.free(first);
    } else if (std::strcmp(which, "free-alloc-free") == 0) {
        void* block = pool.alloc(16);
        pool.free(block);
        if (pool.alloc(16) != block)
            return 4;
        pool.free(block);
        return 0;
    } else if (std::strcmp(which, "foreign-fresh-after-reuse") == 0) {
        auto* block = static_cast<char*>(pool.alloc(16));
        pool.free(block);
        if (pool.alloc(16) != block)
            return 4;
        pool.free(block + 16);
    } else if (std::strcmp(which, "control") == 0) {
        pool.free(pool.alloc(16));
        return 0;
    } else {
        return 3;
    }
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return 3;
    if (std::strcmp(argv[1], "small") == 0)
        return Small(argc, argv);
    return Foreign(argv[1]);
}
