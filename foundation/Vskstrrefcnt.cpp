// Vskstrrefcnt.cpp - CVskStrRefCntTC<T> for char and wchar_t.
#include "foundation/Vskstrrefcnt.h"

#include "platform/FixedBlockPool.h"
#include "foundation/internal/VskstrrefcntHooks.h"
#include "foundation/internal/VskstrrefcntLifetime.h"

#include <cstdlib>
#include <new>
#include <stdexcept>

VSK_DEFINE_UNIT(Vskstrrefcnt, nullptr, nullptr)

namespace {

// One block size serves both buffer types (a count, a table pointer and a
// standard string: 32 bytes for char and wchar_t alike).
constexpr std::size_t kBufferBlockSize =
    sizeof(CVskStrRefCntTC<char>) > sizeof(CVskStrRefCntTC<wchar_t>) ? sizeof(CVskStrRefCntTC<char>)
                                                                     : sizeof(CVskStrRefCntTC<wchar_t>);

// Constant-initialised: ready before any global string of any module.
vsk::detail::CFixedBlockPool g_bufferPool(kBufferBlockSize);

// Set when a program unloads the library, as opposed to the process ending.
bool g_unloading = false;

void ReleasePoolIfUnloading() {
    if (g_unloading)
        g_bufferPool.ReleaseEverything();
}

// The library's global strings give their blocks back when its global
// objects are destroyed, after the package frame hears of the unloading:
// the pool may only go after the last of them. Global objects are destroyed
// in the reverse order of their construction and of the functions given to
// atexit, so the pool's release is registered before any other global
// object is made (the highest initialisation priority), and runs last.
struct CPoolReleaseAtUnload {
    CPoolReleaseAtUnload() { std::atexit(ReleasePoolIfUnloading); }
};
__attribute__((init_priority(101))) CPoolReleaseAtUnload g_poolReleaseAtUnload;

} // namespace

namespace vsk::detail {

const VskstrrefcntHookTable kVskstrrefcntHookTable = {
    [] { return g_bufferPool.BytesInUse(); },
    [] { return g_bufferPool.BytesReserved(); },
};

void ReleaseStringBufferCache() noexcept { g_bufferPool.ReleaseThreadCache(); }

void NoteLibraryUnloading() noexcept { g_unloading = true; }

} // namespace vsk::detail

template <typename T>
void* CVskStrRefCntTC<T>::operator new(std::size_t size) {
    if (size > g_bufferPool.BlockSize())
        return ::operator new(size);
    return g_bufferPool.Allocate();
}

template <typename T>
void CVskStrRefCntTC<T>::operator delete(void* p, std::size_t size) noexcept {
    if (size > g_bufferPool.BlockSize())
        ::operator delete(p);
    else
        g_bufferPool.Free(p);
}

template <typename T>
CVskStrRefCntTC<T>::~CVskStrRefCntTC() noexcept(false) {
    if (m_refCount > 0)
        throw std::runtime_error("CVskStrRefCntTC<T>::~CVskStrRefCntTC() 参照カウンタエラー");
}

template class CVskStrRefCntTC<char>;
template class CVskStrRefCntTC<wchar_t>;
