// Vskmemorymanager.cpp - the fixed-size block pool: the unit, its own pool
// and the small class whose new and delete go to it. The pool itself is in
// Vskmemorymanager_pool.cpp.
#include "threading/Vskmemorymanager.h"

#include <new>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Vskmemorymanager, StartUp, ExitRoutine)

namespace {

// The unit's own pool, built once by the start-up routine.
vsk::CMemoryManagerPool* g_internalPool = nullptr;
bool g_internalPoolReady = false;

void StartUp() {
    if (g_internalPoolReady)
        return;
    g_internalPool = new vsk::CMemoryManagerPool(16, 8180, true);
    g_internalPoolReady = true;
}

void ExitRoutine() {
    if (!g_internalPoolReady)
        return;
    delete g_internalPool;
    g_internalPool = nullptr;
    g_internalPoolReady = false;
}

} // namespace

namespace vsk::detail {

bool InternalPoolReady() {
    return g_internalPoolReady;
}

void* CPooledCell::operator new(std::size_t size) {
    void* p = g_internalPoolReady ? g_internalPool->alloc(static_cast<unsigned int>(size)) : nullptr;
    if (!p)
        throw std::bad_alloc();
    return p;
}

void CPooledCell::operator delete(void* p) {
    if (g_internalPoolReady)
        g_internalPool->free(p);
}

} // namespace vsk::detail
