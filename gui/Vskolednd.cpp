// Vskolednd.cpp - OLE drag and drop of text and file lists, turned into window messages.
#include "gui/Vskolednd.h"

#include "platform/CallbackBoundary.h"
#include "platform/DropFiles.h"
#include "platform/Replaceable.h"
#include "gui/internal/VskoledndHooks.h"

#include <shellapi.h>
#include <shlobj.h>

#include <cstring>
#include <exception>
#include <new>

VSK_DEFINE_UNIT(Vskolednd, nullptr, nullptr)

namespace {

const DWORD kContentAspect = DVASPECT_CONTENT; // 1
const UINT kDropFilesOffset = 20;              // sizeof(DROPFILES)

enum : unsigned int { kEventEnter = 0, kEventOver = 1, kEventLeave = 2, kEventDrop = 3 };

static_assert(sizeof(_IDROPTARGET_NOTIFY) == 24, "six 32-bit fields");
static_assert(sizeof(DROPFILES) == kDropFilesOffset, "the file list follows the header");

// What the COM methods caught while no library call was running on the
// thread (a drag that another program runs, pumped by the program's own
// loop) waits here for vsk::RethrowDragDropHookError.
const vsk::detail::CErrorCollector kHookErrors{"vsk::RethrowDragDropHookError"};

// Tags the library's own sending of a drag event or a data request to a
// window: the window procedure that runs the hooks may be the program's own,
// which cannot keep an exception from the system's frames, so the hooks keep
// it themselves while this call is the innermost one.
const char kHookForwarding[] = "drag-and-drop forwarding";

vsk::detail::DragDropObjectCounts g_counts{};
HGLOBAL __stdcall SystemGlobalAlloc(UINT flags, SIZE_T bytes) { return ::GlobalAlloc(flags, bytes); }
vsk::detail::CReplaceable<vsk::detail::GlobalAllocFn> g_globalAlloc{SystemGlobalAlloc};

// Runs the hooks of one message: while the library is forwarding a drag
// event or a data request, an exception is kept for that forwarding (the
// system's frames lie between it and here); called any other way, the
// exception passes to the caller.
template <typename Body>
void RunHook(const vsk::detail::CBoundarySite& site, Body body) {
    if (!vsk::detail::InnermostCallIs(kHookForwarding)) {
        body();
        return;
    }
    vsk::detail::RunAtBoundary(site, &kHookErrors, body);
}

// Runs the body of a COM method called by the system: an exception is kept
// by the boundary rule and the method's failed answer goes back instead
// (E_OUTOFMEMORY when memory ran out).
template <typename Body>
HRESULT GuardComMethod(const vsk::detail::CBoundarySite& site, HRESULT failure, Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        vsk::detail::KeepCaughtException(site, &kHookErrors);
        return E_OUTOFMEMORY;
    } catch (...) {
        vsk::detail::KeepCaughtException(site, &kHookErrors);
        return failure;
    }
}

// A drop target's method that failed refuses the drop: no effect and
// E_UNEXPECTED, so that the drag's source is not told that data went over.
template <typename Body>
HRESULT GuardTargetMethod(const vsk::detail::CBoundarySite& site, DWORD* effect, Body body) {
    const HRESULT result = GuardComMethod(site, E_UNEXPECTED, body);
    if (FAILED(result) && effect)
        *effect = DROPEFFECT_NONE;
    return result;
}

FORMATETC HGlobalFormat(unsigned int format) {
    FORMATETC f;
    f.cfFormat = static_cast<CLIPFORMAT>(format);
    f.ptd = nullptr;
    f.dwAspect = kContentAspect;
    f.lindex = -1;
    f.tymed = TYMED_HGLOBAL;
    return f;
}

HGLOBAL AllocGlobal(SIZE_T bytes) {
    const UINT flags = GMEM_MOVEABLE | GMEM_ZEROINIT; // 66
    return g_globalAlloc(flags, bytes);
}

// A copy of a target device that the receiver frees with CoTaskMemFree.
DVTARGETDEVICE* CopyTargetDevice(const DVTARGETDEVICE* device) {
    if (!device)
        return nullptr;
    auto* copy = static_cast<DVTARGETDEVICE*>(::CoTaskMemAlloc(device->tdSize));
    if (!copy)
        throw std::bad_alloc();
    std::memcpy(copy, device, device->tdSize);
    return copy;
}

bool IsNtPlatform() {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    return ::GetVersionExA(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT; // 2
}

DWORD KeyStateNow() {
    auto down = [](int key) { return (::GetKeyState(key) & 0x8000) != 0; };
    DWORD state = 0;
    if (down(VK_SHIFT))
        state |= MK_SHIFT; // 4
    if (down(VK_CONTROL))
        state |= MK_CONTROL; // 8
    if (down(VK_MENU))
        state |= MK_ALT; // 0x20
    if (down(VK_LBUTTON))
        state |= MK_LBUTTON; // 1
    if (down(VK_MBUTTON))
        state |= MK_MBUTTON; // 0x10
    if (down(VK_RBUTTON))
        state |= MK_RBUTTON; // 2
    return state;
}

} // namespace

// ---------------------------------------------------------------- CVskDropTarget

CVskDropTarget::CVskDropTarget(HWND notifyWindow, unsigned int message, const std::vector<unsigned int>& formats)
    : m_refCount(1), m_notifyWindow(notifyWindow), m_message(message), m_formats(formats), m_notify() {
    ++g_counts.targets;
}

CVskDropTarget::~CVskDropTarget() { ++g_counts.targetsDestroyed; }

CVskDropTarget* CVskDropTarget::Regist(void* window, void* notifyWindow, unsigned int message,
                                       const std::vector<unsigned int>& formats) {
    HWND notify = static_cast<HWND>(notifyWindow ? notifyWindow : window);
    auto* target = new CVskDropTarget(notify, message, formats);
    if (FAILED(::RegisterDragDrop(static_cast<HWND>(window), target))) {
        target->Release();
        return nullptr;
    }
    return target;
}

long CVskDropTarget::Revoke() { return ::RevokeDragDrop(m_notifyWindow); }

long CVskDropTarget::GetData(IDataObject* data, unsigned int format, STGMEDIUM* medium) {
    FORMATETC request = HGlobalFormat(format);
    return data->GetData(&request, medium);
}

long CVskDropTarget::QueryGetData(IDataObject* data, unsigned int format) {
    FORMATETC request = HGlobalFormat(format);
    return data->QueryGetData(&request);
}

long CVskDropTarget::SendMessageA(unsigned int event, IDataObject* data, unsigned long keyState, POINTL* point,
                                  unsigned long* effect) {
    UINT format = 0;
    STGMEDIUM medium{};
    bool fetched = false;
    if (data) {
        for (unsigned int candidate : m_formats) {
            if (QueryGetData(data, candidate) == S_OK) {
                format = candidate;
                break;
            }
        }
        if (format != 0) {
            fetched = SUCCEEDED(GetData(data, format, &medium));
            if (!fetched)
                format = 0;
        }
    }
    m_notify.point = point;
    m_notify.keyState = keyState;
    m_notify.format = format;
    m_notify.data = fetched && medium.tymed == TYMED_HGLOBAL ? medium.hGlobal : nullptr;
    m_notify.dataObject = data;
    std::exception_ptr hookError;
    {
        vsk::detail::CSystemCallScope forwarding(kHookForwarding);
        ::SendMessageA(m_notifyWindow, m_message, event, reinterpret_cast<LPARAM>(&m_notify));
        hookError = forwarding.TakeError();
    }
    m_notify.data = nullptr;
    if (fetched)
        ::ReleaseStgMedium(&medium);
    if (hookError)
        std::rethrow_exception(hookError);
    if (effect) {
        *effect &= m_notify.effect;
        const unsigned long copyAndMove = DROPEFFECT_COPY | DROPEFFECT_MOVE;
        if ((*effect & copyAndMove) == copyAndMove) {
            *effect &= ~static_cast<unsigned long>(DROPEFFECT_COPY);
            m_notify.effect &= ~static_cast<DWORD>(DROPEFFECT_COPY);
        }
    }
    return S_OK;
}

HRESULT CVskDropTarget::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDropTarget)) {
        *out = static_cast<IDropTarget*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG CVskDropTarget::AddRef() { return ++m_refCount; }

ULONG CVskDropTarget::Release() {
    const LONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

HRESULT CVskDropTarget::DragEnter(IDataObject* data, DWORD keyState, POINTL point, DWORD* effect) {
    return GuardTargetMethod(VSK_BOUNDARY_SITE("CVskDropTarget::DragEnter"), effect,
                             [&] { return SendMessageA(kEventEnter, data, keyState, &point, effect); });
}

HRESULT CVskDropTarget::DragOver(DWORD keyState, POINTL point, DWORD* effect) {
    return GuardTargetMethod(VSK_BOUNDARY_SITE("CVskDropTarget::DragOver"), effect,
                             [&] { return SendMessageA(kEventOver, nullptr, keyState, &point, effect); });
}

HRESULT CVskDropTarget::DragLeave() {
    return GuardTargetMethod(VSK_BOUNDARY_SITE("CVskDropTarget::DragLeave"), nullptr,
                             [&] { return SendMessageA(kEventLeave, nullptr, 0, nullptr, nullptr); });
}

HRESULT CVskDropTarget::Drop(IDataObject* data, DWORD keyState, POINTL point, DWORD* effect) {
    return GuardTargetMethod(VSK_BOUNDARY_SITE("CVskDropTarget::Drop"), effect,
                             [&] { return SendMessageA(kEventDrop, data, keyState, &point, effect); });
}

// ---------------------------------------------------------------- CVskDataObject

CVskDataObject::CVskDataObject(HWND window, unsigned int message, const std::vector<unsigned int>& formats)
    : m_refCount(1), m_window(window), m_message(message) {
    m_formats.reserve(formats.size());
    for (unsigned int format : formats)
        m_formats.push_back(HGlobalFormat(format));
    ++g_counts.dataObjects;
}

CVskDataObject::~CVskDataObject() { ++g_counts.dataObjectsDestroyed; }

IDataObject* CVskDataObject::CreateInstance(void* window, unsigned int message,
                                            const std::vector<unsigned int>& formats) {
    try {
        return new CVskDataObject(static_cast<HWND>(window), message, formats);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

HRESULT CVskDataObject::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDataObject)) {
        *out = static_cast<IDataObject*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG CVskDataObject::AddRef() { return ++m_refCount; }

ULONG CVskDataObject::Release() {
    const LONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

const FORMATETC* CVskDataObject::FindHGlobalFormat(const FORMATETC& request) const {
    if (!(request.tymed & TYMED_HGLOBAL))
        return nullptr;
    for (const FORMATETC& offered : m_formats) {
        if (offered.cfFormat == request.cfFormat && (offered.tymed & TYMED_HGLOBAL))
            return &offered;
    }
    return nullptr;
}

HRESULT CVskDataObject::GetData(FORMATETC* request, STGMEDIUM* medium) {
    if (!request || !medium)
        return E_INVALIDARG;
    const FORMATETC* offered = FindHGlobalFormat(*request);
    if (!offered)
        return DV_E_FORMATETC;
    return GuardComMethod(VSK_BOUNDARY_SITE("CVskDataObject::GetData"), E_UNEXPECTED, [&] {
        HGLOBAL data = nullptr;
        {
            vsk::detail::CSystemCallScope forwarding(kHookForwarding);
            ::SendMessageA(m_window, m_message, offered->cfFormat, reinterpret_cast<LPARAM>(&data));
            forwarding.RethrowError(); // a provider that failed gave nothing
        }
        if (!data)
            return STG_E_MEDIUMFULL;
        medium->tymed = TYMED_HGLOBAL;
        medium->hGlobal = data;
        medium->pUnkForRelease = nullptr;
        return S_OK;
    });
}

HRESULT CVskDataObject::GetDataHere(FORMATETC*, STGMEDIUM*) { return E_NOTIMPL; }

HRESULT CVskDataObject::QueryGetData(FORMATETC* request) {
    if (!request)
        return E_INVALIDARG;
    return FindHGlobalFormat(*request) ? S_OK : DV_E_FORMATETC;
}

HRESULT CVskDataObject::GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) { return E_NOTIMPL; }

HRESULT CVskDataObject::SetData(FORMATETC*, STGMEDIUM*, BOOL) { return E_NOTIMPL; }

HRESULT CVskDataObject::EnumFormatEtc(DWORD direction, IEnumFORMATETC** out) {
    if (!out)
        return E_INVALIDARG;
    *out = nullptr;
    if (direction != DATADIR_GET)
        return E_NOTIMPL; // the data cannot be set
    *out = CVskEnumFORMATETC::CreateInstance(this, &m_formats);
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CVskDataObject::DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) { return OLE_E_ADVISENOTSUPPORTED; }

HRESULT CVskDataObject::DUnadvise(DWORD) { return OLE_E_NOCONNECTION; }

HRESULT CVskDataObject::EnumDAdvise(IEnumSTATDATA**) { return OLE_E_ADVISENOTSUPPORTED; }

// ---------------------------------------------------------------- CVskEnumFORMATETC

CVskEnumFORMATETC::CVskEnumFORMATETC(IDataObject* owner, const std::vector<FORMATETC>& formats,
                                     std::size_t position)
    : m_refCount(1), m_owner(owner), m_formats(formats), m_position(position) {
    if (m_owner)
        m_owner->AddRef();
    ++g_counts.enumerators;
}

CVskEnumFORMATETC::~CVskEnumFORMATETC() {
    if (m_owner)
        m_owner->Release();
    ++g_counts.enumeratorsDestroyed;
}

IEnumFORMATETC* CVskEnumFORMATETC::CreateInstance(IDataObject* owner, std::vector<FORMATETC>* formats) {
    try {
        return new CVskEnumFORMATETC(owner, formats ? *formats : std::vector<FORMATETC>(), 0);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

HRESULT CVskEnumFORMATETC::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IEnumFORMATETC)) {
        *out = static_cast<IEnumFORMATETC*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG CVskEnumFORMATETC::AddRef() { return ++m_refCount; }

ULONG CVskEnumFORMATETC::Release() {
    const LONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

HRESULT CVskEnumFORMATETC::Next(ULONG count, FORMATETC* out, ULONG* fetched) {
    if (!out || (!fetched && count != 1))
        return E_INVALIDARG;
    return GuardComMethod(VSK_BOUNDARY_SITE("CVskEnumFORMATETC::Next"), E_UNEXPECTED, [&] {
        ULONG given = 0;
        while (given < count && m_position < m_formats.size()) {
            out[given] = m_formats[m_position];
            out[given].ptd = CopyTargetDevice(m_formats[m_position].ptd);
            ++given;
            ++m_position;
        }
        if (fetched)
            *fetched = given;
        return given == count ? S_OK : S_FALSE;
    });
}

HRESULT CVskEnumFORMATETC::Skip(ULONG count) {
    const std::size_t left = m_formats.size() - m_position;
    if (count > left) {
        m_position = m_formats.size();
        return S_FALSE;
    }
    m_position += count;
    return S_OK;
}

HRESULT CVskEnumFORMATETC::Reset() {
    m_position = 0;
    return S_OK;
}

HRESULT CVskEnumFORMATETC::Clone(IEnumFORMATETC** out) {
    if (!out)
        return E_INVALIDARG;
    *out = nullptr;
    return GuardComMethod(VSK_BOUNDARY_SITE("CVskEnumFORMATETC::Clone"), E_OUTOFMEMORY, [&] {
        *out = new CVskEnumFORMATETC(m_owner, m_formats, m_position);
        return S_OK;
    });
}

// ---------------------------------------------------------------- CVskDropSource

CVskDropSource::CVskDropSource(unsigned long startKeyState, unsigned long dragButton)
    : m_refCount(1), m_startKeyState(startKeyState), m_dragButton(dragButton) {
    ++g_counts.sources;
}

CVskDropSource::~CVskDropSource() { ++g_counts.sourcesDestroyed; }

IDropSource* CVskDropSource::CreateInstance(unsigned long startKeyState, unsigned long dragButton) {
    try {
        return new CVskDropSource(startKeyState, dragButton);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

long CVskDropSource::DoDragDrop(void* window, unsigned int message, const std::vector<unsigned int>& formats,
                                int allowedEffects) {
    IDataObject* data = CVskDataObject::CreateInstance(window, message, formats);
    if (!data)
        return -1;
    const unsigned long dragButton = (::GetKeyState(VK_RBUTTON) & 0x8000) ? MK_RBUTTON : MK_LBUTTON;
    IDropSource* source = CreateInstance(KeyStateNow(), dragButton);
    if (!source) {
        data->Release();
        return -1;
    }
    DWORD effect = DROPEFFECT_NONE;
    // The drag's own loop runs window procedures and the COM methods of both
    // sides: what fails in there is kept for this call, which cancels the
    // drag (QueryContinueDrag) and throws it once the system's drag ended.
    vsk::detail::CSystemCallScope drag;
    const HRESULT result = ::DoDragDrop(data, source, static_cast<DWORD>(allowedEffects), &effect);
    source->Release();
    data->Release();
    drag.RethrowError();
    return result == DRAGDROP_S_DROP ? static_cast<long>(effect) : -1;
}

HRESULT CVskDropSource::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDropSource)) {
        *out = static_cast<IDropSource*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG CVskDropSource::AddRef() { return ++m_refCount; }

ULONG CVskDropSource::Release() {
    const LONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

HRESULT CVskDropSource::QueryContinueDrag(BOOL escapePressed, DWORD keyState) {
    // A failure kept for the running call (DoDragDrop's: a hook, a window
    // handler) ends the drag, so that its exception reaches the caller soon.
    if (escapePressed || vsk::detail::InnermostCallFailed())
        return DRAGDROP_S_CANCEL;
    if (m_dragButton != 0)
        return (keyState & m_dragButton) ? S_OK : DRAGDROP_S_DROP;
    return keyState == m_startKeyState ? S_OK : DRAGDROP_S_DROP;
}

HRESULT CVskDropSource::GiveFeedback(DWORD) { return DRAGDROP_S_USEDEFAULTCURSORS; }

// ---------------------------------------------------------------- CVskDnDDropEvent

namespace {

// The text of a CF_TEXT block, read no further than the block's end, so a
// block without a terminator still ends.
vskstr::CVskStr TextOfBlock(const char* bytes, SIZE_T size) {
    SIZE_T length = 0;
    while (length < size && bytes[length] != '\0')
        ++length;
    return vskstr::CVskStr(bytes, static_cast<int>(length));
}

// True when the block holds a whole DROPFILES header and a file list that
// ends inside the block, so that DragQueryFileA reads nothing beyond it.
bool IsWellFormedDropFiles(HGLOBAL block) {
    const SIZE_T size = ::GlobalSize(block);
    if (size < sizeof(DROPFILES))
        return false;
    const auto* header = static_cast<const DROPFILES*>(::GlobalLock(block));
    if (!header)
        return false;
    bool ok = false;
    const SIZE_T offset = header->pFiles;
    if (offset >= sizeof(DROPFILES) && offset < size) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(header);
        const SIZE_T unit = header->fWide ? 2 : 1;
        bool previousWasEnd = true; // an empty list is its own end
        for (SIZE_T at = offset; at + unit <= size; at += unit) {
            const bool end = bytes[at] == 0 && (unit == 1 || bytes[at + 1] == 0);
            if (end && previousWasEnd) {
                ok = true;
                break;
            }
            previousWasEnd = end;
        }
    }
    ::GlobalUnlock(block);
    return ok;
}

std::vector<vskstr::CVskStr> FileNamesOf(HDROP drop) {
    std::vector<vskstr::CVskStr> names;
    const UINT count = vsk::detail::DragQueryFileCount(drop);
    names.reserve(count);
    for (UINT i = 0; i < count; ++i) {
        const UINT length = ::DragQueryFileA(drop, i, nullptr, 0);
        vskstr::CVskStr name;
        if (length > 0) {
            std::vector<char> buffer(length + 1);
            const UINT copied = ::DragQueryFileA(drop, i, buffer.data(), length + 1);
            name = vskstr::CVskStr(buffer.data(), static_cast<int>(copied));
        }
        names.push_back(name);
    }
    return names;
}

} // namespace

CVskDnDDropEvent::~CVskDnDDropEvent() = default;

void CVskDnDDropEvent::DoEvent(void* window, unsigned int event, long record) {
    RunHook(VSK_BOUNDARY_SITE("CVskDnDDropEvent::DoEvent"),
            [&] { Decode(window, event, reinterpret_cast<_IDROPTARGET_NOTIFY*>(record)); });
}

void CVskDnDDropEvent::ForgetDestroyedWindows() {
    for (auto it = m_formatAtEnter.begin(); it != m_formatAtEnter.end();) {
        if (::IsWindow(static_cast<HWND>(it->first)))
            ++it;
        else
            it = m_formatAtEnter.erase(it);
    }
}

void CVskDnDDropEvent::Decode(void* window, unsigned int event, _IDROPTARGET_NOTIFY* record) {
    ForgetDestroyedWindows();
    if (!record)
        return;
    switch (event) {
    case kEventEnter:
        m_formatAtEnter[window] = record->format;
        OnDragEnter(window, record);
        break;
    case kEventOver: {
        void* under = record->point ? ::WindowFromPoint(POINT{record->point->x, record->point->y}) : nullptr;
        auto it = m_formatAtEnter.find(window);
        OnDragOver(window, record, under, it != m_formatAtEnter.end() ? it->second : 0);
        break;
    }
    case kEventLeave:
        m_formatAtEnter.erase(window);
        OnDragLeave(window, record);
        break;
    case kEventDrop:
        m_formatAtEnter.erase(window);
        DecodeDrop(window, record);
        break;
    default:
        break;
    }
    // A hook may have destroyed a window (its own too): forget it at once.
    ForgetDestroyedWindows();
}

void CVskDnDDropEvent::DecodeDrop(void* window, _IDROPTARGET_NOTIFY* record) {
    if (record->format == CF_TEXT) {
        const void* bytes = record->data ? ::GlobalLock(record->data) : nullptr;
        if (bytes) {
            const vskstr::CVskStr text = TextOfBlock(static_cast<const char*>(bytes), ::GlobalSize(record->data));
            ::GlobalUnlock(record->data);
            OnDropText(window, text.c_str());
        }
        return;
    }
    if (record->format == CF_HDROP && record->data && IsWellFormedDropFiles(record->data)) {
        OnDropHDrop(window, FileNamesOf(static_cast<HDROP>(record->data)));
        return;
    }
    // Another format, none, or a file list that cannot be read safely: the
    // drag ends as if it had left.
    OnDragLeave(window, record);
}

void CVskDnDDropEvent::OnDragEnter(void*, _IDROPTARGET_NOTIFY*) {}
void CVskDnDDropEvent::OnDragOver(void*, _IDROPTARGET_NOTIFY*, void*, unsigned int) {}
void CVskDnDDropEvent::OnDragLeave(void*, _IDROPTARGET_NOTIFY*) {}
void CVskDnDDropEvent::OnDropText(void*, const char*) {}
void CVskDnDDropEvent::OnDropHDrop(void*, const std::vector<vskstr::CVskStr>&) {}
void CVskDnDDropEvent::OnDropOther(void*, _IDROPTARGET_NOTIFY*) {}

// ---------------------------------------------------------------- CVskDnDGetEvent

namespace {

HGLOBAL MakeTextBlock(const vskstr::CVskStr& text) {
    const SIZE_T bytes = static_cast<SIZE_T>(text.Length()) + 1;
    HGLOBAL block = AllocGlobal(bytes);
    if (!block)
        return nullptr;
    void* out = ::GlobalLock(block);
    if (!out) {
        ::GlobalFree(block);
        return nullptr;
    }
    std::memcpy(out, text.c_str(), bytes); // the terminator too
    ::GlobalUnlock(block);
    return block;
}

// The names that go into a file list: each up to its first NUL, empty ones
// left out (an empty name would end the list early).
std::vector<const char*> ListableNames(const std::vector<vskstr::CVskStr>& files) {
    std::vector<const char*> names;
    for (const vskstr::CVskStr& file : files) {
        if (file.c_str()[0] != '\0')
            names.push_back(file.c_str());
    }
    return names;
}

} // namespace

HGLOBAL vsk::detail::MakeDropFiles(const std::vector<vskstr::CVskStr>& files, bool wide) {
    const std::vector<const char*> names = ListableNames(files);
    // Characters of the list: each name with its terminator, then the end
    // (two terminators for an empty list, the end of list as readers expect).
    std::vector<int> lengths;
    SIZE_T units = 0;
    for (const char* name : names) {
        const int length = wide ? ::MultiByteToWideChar(CP_ACP, 0, name, -1, nullptr, 0)
                                : static_cast<int>(std::strlen(name)) + 1;
        if (length <= 0)
            return nullptr;
        lengths.push_back(length);
        units += static_cast<SIZE_T>(length);
    }
    units += names.empty() ? 2 : 1;
    const SIZE_T unitSize = wide ? sizeof(wchar_t) : 1;
    HGLOBAL block = AllocGlobal(sizeof(DROPFILES) + units * unitSize);
    if (!block)
        return nullptr;
    auto* header = static_cast<DROPFILES*>(::GlobalLock(block));
    if (!header) {
        ::GlobalFree(block);
        return nullptr;
    }
    header->pFiles = kDropFilesOffset;
    header->pt.x = 0;
    header->pt.y = 0;
    header->fNC = FALSE;
    header->fWide = wide ? TRUE : FALSE;
    char* at = reinterpret_cast<char*>(header) + kDropFilesOffset;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (wide) {
            ::MultiByteToWideChar(CP_ACP, 0, names[i], -1, reinterpret_cast<wchar_t*>(at), lengths[i]);
        } else {
            std::memcpy(at, names[i], static_cast<std::size_t>(lengths[i]));
        }
        at += static_cast<std::size_t>(lengths[i]) * unitSize;
    }
    // The end of the list is already zero (the block is zero-initialised).
    ::GlobalUnlock(block);
    return block;
}

const vsk::detail::VskoledndHookTable vsk::detail::kVskoledndHookTable = {
    [] { return g_counts; },
    [](GlobalAllocFn fn) { return g_globalAlloc.Replace(fn); },
};

CVskDnDGetEvent::~CVskDnDGetEvent() = default;

void CVskDnDGetEvent::DoEvent(void* window, unsigned int format, long resultAddress) {
    auto* result = reinterpret_cast<HGLOBAL*>(resultAddress);
    RunHook(VSK_BOUNDARY_SITE("CVskDnDGetEvent::DoEvent"), [&] { *result = Render(window, format); });
}

HGLOBAL CVskDnDGetEvent::Render(void* window, unsigned int format) {
    if (format == CF_TEXT) {
        vskstr::CVskStr text;
        OnDropText(window, text);
        return MakeTextBlock(text);
    }
    if (format == CF_HDROP) {
        std::vector<vskstr::CVskStr> names;
        OnDropHDrop(window, names);
        return vsk::detail::MakeDropFiles(names, IsNtPlatform());
    }
    return nullptr;
}

void CVskDnDGetEvent::OnDropText(void*, vskstr::CVskStr&) {}
void CVskDnDGetEvent::OnDropHDrop(void*, std::vector<vskstr::CVskStr>&) {}
void CVskDnDGetEvent::OnDropOther(void*, long&) {}

void vsk::RethrowDragDropHookError() { vsk::detail::RethrowCollectedError(kHookErrors); }
