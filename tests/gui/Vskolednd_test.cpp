// Vskolednd_test.cpp - tests of the drag-and-drop COM objects called directly, of the
// DROPFILES block, of the drop-event decoding and of the data provider, on real OLE,
// real windows and real global memory.
#include "gui/Vskolednd.h"

#include "gui/Vskwnd.h"
#include "tests/diagnostics/LogTestSupport.h"
#include "tests/gui/DragDropTestSupport.h"
#include "tests/support/TestSupport.h"
#include "gui/internal/VskoledndHooks.h"

#include <shellapi.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;
using vsktest::BytesOfGlobal;
using vsktest::COleScope;
using vsktest::CPlainWindow;
using vsktest::GlobalBlockOf;
using vsktest::LiveDragDropObjects;

const UINT kDataMessage = WM_APP + 7;
const UINT kNotifyMessage = WM_APP + 8;

// "表" in code page 932 is 0x95 0x5C: its trail byte is a backslash.
const char kHyou[] = "\x95\x5C";
// "ソ" is 0x83 0x5C.
const char kSo[] = "\x83\x5C";

FORMATETC Request(unsigned int format, DWORD tymed = TYMED_HGLOBAL) {
    FORMATETC f{};
    f.cfFormat = static_cast<CLIPFORMAT>(format);
    f.dwAspect = DVASPECT_CONTENT;
    f.lindex = -1;
    f.tymed = tymed;
    return f;
}

// A provider whose hooks give fixed data and count their calls.
class CFixedProvider : public CVskDnDGetEvent {
public:
    CVskStr text;
    std::vector<CVskStr> files;
    int textCalls = 0, fileCalls = 0, otherCalls = 0;
    void OnDropText(void*, CVskStr& out) override {
        ++textCalls;
        out = text;
    }
    void OnDropHDrop(void*, std::vector<CVskStr>& out) override {
        ++fileCalls;
        out = files;
    }
    void OnDropOther(void*, long&) override { ++otherCalls; }
};

// A drop sink that writes down every hook call.
class CRecordingSink : public CVskDnDDropEvent {
public:
    std::vector<std::string> calls;
    std::string text;
    std::vector<CVskStr> files;
    void* underCursor = nullptr;
    unsigned int formatAtEnter = 12345;
    DWORD effectToAllow = DROPEFFECT_COPY | DROPEFFECT_MOVE;
    UINT formatSeen = 12345;

    void OnDragEnter(void*, _IDROPTARGET_NOTIFY* r) override {
        calls.push_back("enter");
        formatSeen = r->format;
        r->effect = effectToAllow;
    }
    void OnDragOver(void*, _IDROPTARGET_NOTIFY* r, void* under, unsigned int format) override {
        calls.push_back("over");
        formatSeen = r->format;
        underCursor = under;
        formatAtEnter = format;
        r->effect = effectToAllow;
    }
    void OnDragLeave(void*, _IDROPTARGET_NOTIFY*) override { calls.push_back("leave"); }
    void OnDropText(void*, const char* t) override {
        calls.push_back("text");
        text = t;
    }
    void OnDropHDrop(void*, const std::vector<CVskStr>& f) override {
        calls.push_back("hdrop");
        files = f;
    }
    void OnDropOther(void*, _IDROPTARGET_NOTIFY*) override { calls.push_back("other"); }

    std::size_t Remembered() const { return m_formatAtEnter.size(); }
    bool Remembers(void* window) const { return m_formatAtEnter.count(window) != 0; }
};

std::vector<CVskStr> ReadBackA(HGLOBAL block) {
    HDROP drop = static_cast<HDROP>(block);
    std::vector<CVskStr> names;
    const UINT count = ::DragQueryFileA(drop, 0xFFFFFFFF, nullptr, 0);
    for (UINT i = 0; i < count; ++i) {
        char buffer[MAX_PATH * 2 + 1] = {};
        const UINT n = ::DragQueryFileA(drop, i, buffer, sizeof buffer);
        names.push_back(CVskStr(buffer, static_cast<int>(n)));
    }
    return names;
}

std::vector<std::wstring> ReadBackW(HGLOBAL block) {
    HDROP drop = static_cast<HDROP>(block);
    std::vector<std::wstring> names;
    const UINT count = ::DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
    for (UINT i = 0; i < count; ++i) {
        wchar_t buffer[MAX_PATH * 2 + 1] = {};
        const UINT n = ::DragQueryFileW(drop, i, buffer, MAX_PATH * 2 + 1);
        names.push_back(std::wstring(buffer, n));
    }
    return names;
}

std::wstring Wide(const CVskStr& s) {
    const int n = ::MultiByteToWideChar(CP_ACP, 0, s.c_str(), -1, nullptr, 0);
    std::wstring w(static_cast<std::size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, s.c_str(), -1, &w[0], n);
    w.resize(static_cast<std::size_t>(n - 1));
    return w;
}

class DragDropTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(m_ole.Result())) << "OleInitialize";
        m_liveAtStart = LiveDragDropObjects();
    }
    void TearDown() override { EXPECT_EQ(m_liveAtStart, LiveDragDropObjects()) << "COM objects leaked"; }

    // A source window that answers kDataMessage through `provider`.
    void Serve(CPlainWindow& window, CVskDnDGetEvent& provider) {
        HWND hwnd = window.Handle();
        window.onMessage = [&provider, hwnd](UINT m, WPARAM w, LPARAM l) {
            if (m == kDataMessage)
                provider.DoEvent(hwnd, static_cast<unsigned int>(w), static_cast<long>(l));
        };
    }

    COleScope m_ole;
    long m_liveAtStart = 0;
};

// ---------------------------------------------------------------- the record

TEST(DragDropNotifyRecord, HasSixThirtyTwoBitFieldsInOrder) {
    EXPECT_EQ(24u, sizeof(_IDROPTARGET_NOTIFY));
    EXPECT_EQ(0u, offsetof(_IDROPTARGET_NOTIFY, point));
    EXPECT_EQ(4u, offsetof(_IDROPTARGET_NOTIFY, effect));
    EXPECT_EQ(8u, offsetof(_IDROPTARGET_NOTIFY, keyState));
    EXPECT_EQ(12u, offsetof(_IDROPTARGET_NOTIFY, format));
    EXPECT_EQ(16u, offsetof(_IDROPTARGET_NOTIFY, data));
    EXPECT_EQ(20u, offsetof(_IDROPTARGET_NOTIFY, dataObject));
}

// ---------------------------------------------------------------- IDataObject

TEST_F(DragDropTest, DataObjectAnswersEveryMethodWithItsResult) {
    CPlainWindow source(0, 0, 50, 50);
    IDataObject* data = CVskDataObject::CreateInstance(source.Handle(), kDataMessage, {CF_TEXT, CF_HDROP});
    ASSERT_NE(nullptr, data);

    FORMATETC text = Request(CF_TEXT);
    FORMATETC files = Request(CF_HDROP);
    FORMATETC bitmap = Request(CF_BITMAP);
    FORMATETC textAsStream = Request(CF_TEXT, TYMED_ISTREAM);
    FORMATETC textAsAnything = Request(CF_TEXT, TYMED_ISTREAM | TYMED_HGLOBAL);
    EXPECT_EQ(S_OK, data->QueryGetData(&text));
    EXPECT_EQ(S_OK, data->QueryGetData(&files));
    EXPECT_EQ(S_OK, data->QueryGetData(&textAsAnything));
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), data->QueryGetData(&bitmap)); // DV_E_FORMATETC
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), data->QueryGetData(&textAsStream));

    STGMEDIUM medium{};
    FORMATETC out{};
    EXPECT_EQ(static_cast<HRESULT>(0x80004001), data->GetDataHere(&text, &medium)); // E_NOTIMPL
    EXPECT_EQ(static_cast<HRESULT>(0x80004001), data->GetCanonicalFormatEtc(&text, &out));
    EXPECT_EQ(static_cast<HRESULT>(0x80004001), data->SetData(&text, &medium, TRUE));
    EXPECT_EQ(static_cast<HRESULT>(0x80070057), data->EnumFormatEtc(DATADIR_GET, nullptr)); // E_INVALIDARG
    DWORD connection = 0;
    EXPECT_EQ(static_cast<HRESULT>(0x80040003), data->DAdvise(&text, 0, nullptr, &connection)); // OLE_E_ADVISENOTSUPPORTED
    IEnumSTATDATA* advises = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80040003), data->EnumDAdvise(&advises));
    EXPECT_EQ(static_cast<HRESULT>(0x80040004), data->DUnadvise(1)); // OLE_E_NOCONNECTION
    EXPECT_EQ(0u, data->Release());
}

TEST_F(DragDropTest, DataObjectGetDataAsksTheSourceWindowAndHandsOverTheBlock) {
    CPlainWindow source(0, 0, 50, 50);
    CFixedProvider provider;
    provider.text = "drag me";
    Serve(source, provider);
    IDataObject* data = CVskDataObject::CreateInstance(source.Handle(), kDataMessage, {CF_TEXT});
    ASSERT_NE(nullptr, data);

    FORMATETC text = Request(CF_TEXT);
    STGMEDIUM medium{};
    ASSERT_EQ(S_OK, data->GetData(&text, &medium));
    EXPECT_EQ(static_cast<DWORD>(TYMED_HGLOBAL), medium.tymed);
    EXPECT_EQ(nullptr, medium.pUnkForRelease);
    EXPECT_EQ(std::string("drag me", 8), BytesOfGlobal(medium.hGlobal));
    ::ReleaseStgMedium(&medium);
    EXPECT_EQ(1, provider.textCalls);

    // A format that is not offered never reaches the window.
    FORMATETC files = Request(CF_HDROP);
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), data->GetData(&files, &medium));
    FORMATETC textAsStream = Request(CF_TEXT, TYMED_ISTREAM);
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), data->GetData(&textAsStream, &medium));
    EXPECT_EQ(1, provider.textCalls);
    EXPECT_EQ(0, provider.fileCalls);
    data->Release();
}

TEST_F(DragDropTest, DataObjectGetDataGivesMediumFullWhenTheWindowStoresNothing) {
    CPlainWindow source(0, 0, 50, 50); // no handler: the HGLOBAL stays null
    IDataObject* data = CVskDataObject::CreateInstance(source.Handle(), kDataMessage, {CF_TEXT});
    FORMATETC text = Request(CF_TEXT);
    STGMEDIUM medium{};
    EXPECT_EQ(static_cast<HRESULT>(0x80030070), data->GetData(&text, &medium)); // STG_E_MEDIUMFULL
    data->Release();
}

TEST_F(DragDropTest, ChoiceDataObjectNullPointersAndTheSetDirectionAreRefused) {
    IDataObject* data = CVskDataObject::CreateInstance(nullptr, kDataMessage, {CF_TEXT});
    STGMEDIUM medium{};
    FORMATETC text = Request(CF_TEXT);
    EXPECT_EQ(E_INVALIDARG, data->GetData(nullptr, &medium));
    EXPECT_EQ(E_INVALIDARG, data->GetData(&text, nullptr));
    EXPECT_EQ(E_INVALIDARG, data->QueryGetData(nullptr));
    IEnumFORMATETC* e = reinterpret_cast<IEnumFORMATETC*>(1);
    EXPECT_EQ(E_NOTIMPL, data->EnumFormatEtc(DATADIR_SET, &e));
    EXPECT_EQ(nullptr, e);
    data->Release();
}

TEST_F(DragDropTest, DataObjectAnswersQueryInterfaceForItsInterfacesOnly) {
    IDataObject* data = CVskDataObject::CreateInstance(nullptr, kDataMessage, {CF_TEXT});
    void* p = nullptr;
    ASSERT_EQ(S_OK, data->QueryInterface(IID_IDataObject, &p));
    EXPECT_EQ(static_cast<void*>(data), p);
    ASSERT_EQ(S_OK, data->QueryInterface(IID_IUnknown, &p));
    EXPECT_EQ(E_NOINTERFACE, data->QueryInterface(IID_IDropTarget, &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(2u, data->Release());
    EXPECT_EQ(1u, data->Release());
    EXPECT_EQ(0u, data->Release());
}

// ---------------------------------------------------------------- IEnumFORMATETC

class EnumFormatTest : public DragDropTest {
protected:
    void SetUp() override {
        DragDropTest::SetUp();
        m_data = CVskDataObject::CreateInstance(nullptr, kDataMessage, {CF_TEXT, CF_HDROP, CF_UNICODETEXT});
        ASSERT_EQ(S_OK, m_data->EnumFormatEtc(DATADIR_GET, &m_enum));
    }
    void TearDown() override {
        if (m_enum)
            m_enum->Release();
        if (m_data)
            m_data->Release();
        DragDropTest::TearDown();
    }
    IDataObject* m_data = nullptr;
    IEnumFORMATETC* m_enum = nullptr;
};

TEST_F(EnumFormatTest, NextWithZeroGivesNothingAndSucceeds) {
    FORMATETC f[1]{};
    ULONG fetched = 99;
    EXPECT_EQ(S_OK, m_enum->Next(0, f, &fetched));
    EXPECT_EQ(0u, fetched);
    ASSERT_EQ(S_OK, m_enum->Next(1, f, &fetched));
    EXPECT_EQ(CF_TEXT, f[0].cfFormat); // the position did not move
}

TEST_F(EnumFormatTest, NextGivesTheListInOrderWithItsFields) {
    FORMATETC f{};
    ULONG fetched = 0;
    ASSERT_EQ(S_OK, m_enum->Next(1, &f, &fetched));
    EXPECT_EQ(1u, fetched);
    EXPECT_EQ(CF_TEXT, f.cfFormat);
    EXPECT_EQ(nullptr, f.ptd);
    EXPECT_EQ(1u, f.dwAspect);
    EXPECT_EQ(-1, f.lindex);
    EXPECT_EQ(1u, f.tymed);
    ASSERT_EQ(S_OK, m_enum->Next(1, &f, nullptr)); // a null count pointer with a count of 1
    EXPECT_EQ(CF_HDROP, f.cfFormat);
}

TEST_F(EnumFormatTest, NextAskingForMoreThanRemainGivesTheRestAndFalse) {
    FORMATETC f[5]{};
    ULONG fetched = 0;
    ASSERT_EQ(S_OK, m_enum->Next(1, f, &fetched));
    EXPECT_EQ(S_FALSE, m_enum->Next(5, f, &fetched));
    EXPECT_EQ(2u, fetched);
    EXPECT_EQ(CF_HDROP, f[0].cfFormat);
    EXPECT_EQ(CF_UNICODETEXT, f[1].cfFormat);
    EXPECT_EQ(S_FALSE, m_enum->Next(1, f, &fetched));
    EXPECT_EQ(0u, fetched);
    EXPECT_EQ(E_INVALIDARG, m_enum->Next(2, f, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_enum->Next(1, nullptr, &fetched));
}

TEST_F(EnumFormatTest, SkipPastTheEndStopsAtTheEndAndResetStartsAgain) {
    EXPECT_EQ(S_OK, m_enum->Skip(0));
    EXPECT_EQ(S_OK, m_enum->Skip(3));
    EXPECT_EQ(S_FALSE, m_enum->Skip(1));
    ASSERT_EQ(S_OK, m_enum->Reset());
    EXPECT_EQ(S_OK, m_enum->Skip(2));
    EXPECT_EQ(S_FALSE, m_enum->Skip(0xFFFFFFFFu));
    FORMATETC f{};
    ULONG fetched = 7;
    EXPECT_EQ(S_FALSE, m_enum->Next(1, &f, &fetched));
    EXPECT_EQ(0u, fetched);
    m_enum->Reset();
    ASSERT_EQ(S_OK, m_enum->Next(1, &f, &fetched));
    EXPECT_EQ(CF_TEXT, f.cfFormat);
}

TEST_F(EnumFormatTest, CloneKeepsThePositionAndMovesOnItsOwn) {
    ASSERT_EQ(S_OK, m_enum->Skip(1));
    IEnumFORMATETC* clone = nullptr;
    ASSERT_EQ(S_OK, m_enum->Clone(&clone));
    ASSERT_NE(nullptr, clone);
    EXPECT_NE(m_enum, clone);
    FORMATETC f{};
    ASSERT_EQ(S_OK, clone->Next(1, &f, nullptr));
    EXPECT_EQ(CF_HDROP, f.cfFormat);
    ASSERT_EQ(S_OK, clone->Next(1, &f, nullptr));
    EXPECT_EQ(CF_UNICODETEXT, f.cfFormat);
    ASSERT_EQ(S_OK, m_enum->Next(1, &f, nullptr)); // the original is still at 1
    EXPECT_EQ(CF_HDROP, f.cfFormat);
    EXPECT_EQ(E_INVALIDARG, m_enum->Clone(nullptr));
    EXPECT_EQ(0u, clone->Release());
}

TEST_F(DragDropTest, EnumeratorHoldsItsDataObjectUntilItIsReleased) {
    const auto before = vsk::detail::GetDragDropObjectCounts();
    IDataObject* data = CVskDataObject::CreateInstance(nullptr, kDataMessage, {CF_TEXT});
    IEnumFORMATETC* e = nullptr;
    ASSERT_EQ(S_OK, data->EnumFormatEtc(DATADIR_GET, &e));
    IEnumFORMATETC* clone = nullptr;
    ASSERT_EQ(S_OK, e->Clone(&clone));
    EXPECT_EQ(4u, data->AddRef()); // the creator's, the enumerator's, the clone's and this one
    EXPECT_EQ(3u, data->Release());
    EXPECT_EQ(2u, data->Release()); // the two enumerators keep it
    auto now = vsk::detail::GetDragDropObjectCounts();
    EXPECT_EQ(before.dataObjectsDestroyed, now.dataObjectsDestroyed);
    FORMATETC f{};
    EXPECT_EQ(S_OK, e->Next(1, &f, nullptr));
    EXPECT_EQ(0u, e->Release());
    EXPECT_EQ(0u, clone->Release());
    now = vsk::detail::GetDragDropObjectCounts();
    EXPECT_EQ(before.dataObjects + 1, now.dataObjects);
    EXPECT_EQ(before.dataObjectsDestroyed + 1, now.dataObjectsDestroyed);
    EXPECT_EQ(before.enumerators + 2, now.enumerators);
    EXPECT_EQ(before.enumeratorsDestroyed + 2, now.enumeratorsDestroyed);
}

TEST_F(DragDropTest, EnumeratorCopiesItsListAndTheTargetDevicesItGives) {
    std::vector<FORMATETC> list{Request(CF_TEXT)};
    const std::size_t deviceSize = sizeof(DVTARGETDEVICE) + 8;
    std::vector<unsigned char> deviceBytes(deviceSize, 0xAB);
    auto* device = reinterpret_cast<DVTARGETDEVICE*>(deviceBytes.data());
    device->tdSize = static_cast<DWORD>(deviceSize);
    list[0].ptd = device;
    IEnumFORMATETC* e = CVskEnumFORMATETC::CreateInstance(nullptr, &list);
    ASSERT_NE(nullptr, e);
    list.clear(); // the enumerator has its own copy
    FORMATETC f{};
    ASSERT_EQ(S_OK, e->Next(1, &f, nullptr));
    ASSERT_NE(nullptr, f.ptd);
    EXPECT_NE(device, f.ptd); // the receiver's own copy, freed with CoTaskMemFree
    EXPECT_EQ(0, std::memcmp(device, f.ptd, deviceSize));
    ::CoTaskMemFree(f.ptd);
    e->Release();
}

// ---------------------------------------------------------------- IDropSource

TEST_F(DragDropTest, DropSourceGoesOnWhileItsButtonIsHeldAndDropsWhenReleased) {
    IDropSource* left = CVskDropSource::CreateInstance(MK_LBUTTON, MK_LBUTTON);
    EXPECT_EQ(S_OK, left->QueryContinueDrag(FALSE, MK_LBUTTON));
    EXPECT_EQ(S_OK, left->QueryContinueDrag(FALSE, MK_LBUTTON | MK_SHIFT | MK_RBUTTON));
    EXPECT_EQ(static_cast<HRESULT>(0x00040100), left->QueryContinueDrag(FALSE, 0));          // DRAGDROP_S_DROP
    EXPECT_EQ(static_cast<HRESULT>(0x00040100), left->QueryContinueDrag(FALSE, MK_RBUTTON)); // not its button
    EXPECT_EQ(static_cast<HRESULT>(0x00040101), left->QueryContinueDrag(TRUE, MK_LBUTTON));  // DRAGDROP_S_CANCEL
    EXPECT_EQ(static_cast<HRESULT>(0x00040102), left->GiveFeedback(DROPEFFECT_COPY)); // use default cursors
    EXPECT_EQ(0u, left->Release());

    IDropSource* right = CVskDropSource::CreateInstance(MK_RBUTTON, MK_RBUTTON);
    EXPECT_EQ(S_OK, right->QueryContinueDrag(FALSE, MK_RBUTTON));
    EXPECT_EQ(static_cast<HRESULT>(0x00040100), right->QueryContinueDrag(FALSE, MK_LBUTTON));
    right->Release();
}

TEST_F(DragDropTest, DropSourceWithoutADragButtonGoesOnWhileTheKeyStateStaysAsAtTheStart) {
    IDropSource* source = CVskDropSource::CreateInstance(MK_CONTROL | MK_LBUTTON, 0);
    EXPECT_EQ(S_OK, source->QueryContinueDrag(FALSE, MK_CONTROL | MK_LBUTTON));
    EXPECT_EQ(static_cast<HRESULT>(0x00040100), source->QueryContinueDrag(FALSE, MK_LBUTTON));
    EXPECT_EQ(static_cast<HRESULT>(0x00040101), source->QueryContinueDrag(TRUE, MK_CONTROL | MK_LBUTTON));
    source->Release();
}

// ---------------------------------------------------------------- CVskDropTarget

TEST_F(DragDropTest, RegistGivesATargetThatTheCallerAndTheSystemEachHoldOnce) {
    CPlainWindow window(0, 0, 50, 50);
    const auto before = vsk::detail::GetDragDropObjectCounts();
    CVskDropTarget* target = CVskDropTarget::Regist(window.Handle(), nullptr, kNotifyMessage, {CF_TEXT});
    ASSERT_NE(nullptr, target);
    EXPECT_EQ(S_OK, target->Revoke());
    EXPECT_EQ(0u, target->Release());
    const auto after = vsk::detail::GetDragDropObjectCounts();
    EXPECT_EQ(before.targets + 1, after.targets);
    EXPECT_EQ(before.targetsDestroyed + 1, after.targetsDestroyed); // exactly once
}

TEST_F(DragDropTest, RegistFailsForAWindowThatIsNotThereAndReleasesItsTarget) {
    const auto before = vsk::detail::GetDragDropObjectCounts();
    EXPECT_EQ(nullptr, CVskDropTarget::Regist(nullptr, nullptr, kNotifyMessage, {CF_TEXT}));
    CPlainWindow window(0, 0, 50, 50);
    CVskDropTarget* first = CVskDropTarget::Regist(window.Handle(), nullptr, kNotifyMessage, {CF_TEXT});
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(nullptr, CVskDropTarget::Regist(window.Handle(), nullptr, kNotifyMessage, {CF_TEXT})); // twice
    first->Revoke();
    first->Release();
    const auto after = vsk::detail::GetDragDropObjectCounts();
    EXPECT_EQ(before.targets + 3, after.targets);
    EXPECT_EQ(before.targetsDestroyed + 3, after.targetsDestroyed);
}

TEST_F(DragDropTest, TheTargetsGetDataAndQueryGetDataAskForContentAsGlobalMemory) {
    CPlainWindow source(0, 0, 50, 50);
    CFixedProvider provider;
    provider.files = {CVskStr("C:\\") + kHyou};
    Serve(source, provider);
    IDataObject* data = CVskDataObject::CreateInstance(source.Handle(), kDataMessage, {CF_HDROP});
    EXPECT_EQ(S_OK, CVskDropTarget::QueryGetData(data, CF_HDROP));
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), CVskDropTarget::QueryGetData(data, CF_TEXT));
    STGMEDIUM medium{};
    ASSERT_EQ(S_OK, CVskDropTarget::GetData(data, CF_HDROP, &medium));
    EXPECT_EQ(provider.files, ReadBackA(medium.hGlobal));
    ::ReleaseStgMedium(&medium);
    EXPECT_EQ(static_cast<HRESULT>(0x80040064), CVskDropTarget::GetData(data, CF_TEXT, &medium));
    data->Release();
}

TEST_F(DragDropTest, RevokeWorksOnTheStoredNotifyWindowNotTheRegisteredOne) {
    CPlainWindow window(0, 0, 50, 50);
    CPlainWindow notify(60, 0, 50, 50);
    CVskDropTarget* target = CVskDropTarget::Regist(window.Handle(), notify.Handle(), kNotifyMessage, {CF_TEXT});
    ASSERT_NE(nullptr, target);
    EXPECT_EQ(DRAGDROP_E_NOTREGISTERED, target->Revoke()); // the notify window was never registered
    EXPECT_EQ(S_OK, ::RevokeDragDrop(window.Handle()));
    EXPECT_EQ(0u, target->Release());
}

class ForwardingTest : public DragDropTest {
protected:
    void SetUp() override {
        DragDropTest::SetUp();
        m_source.reset(new CPlainWindow(0, 0, 100, 100));
        m_target.reset(new CPlainWindow(200, 0, 100, 100));
        m_provider.text = "text";
        m_provider.files = {"C:\\a.txt"};
        Serve(*m_source, m_provider);
        HWND target = m_target->Handle();
        m_target->onMessage = [this, target](UINT m, WPARAM w, LPARAM l) {
            if (m != kNotifyMessage)
                return;
            const auto* r = reinterpret_cast<const _IDROPTARGET_NOTIFY*>(l);
            m_events.push_back(static_cast<unsigned int>(w));
            m_records.push_back(*r);
            m_dataBytes.push_back(r->data ? BytesOfGlobal(r->data) : std::string("<none>"));
            m_sink.DoEvent(target, static_cast<unsigned int>(w), static_cast<long>(l));
        };
    }
    void TearDown() override {
        if (m_dropTarget) {
            m_dropTarget->Revoke();
            m_dropTarget->Release();
        }
        if (m_data)
            m_data->Release();
        m_target.reset();
        m_source.reset();
        DragDropTest::TearDown();
    }
    void Make(const std::vector<unsigned int>& registered, const std::vector<unsigned int>& offered) {
        m_dropTarget = CVskDropTarget::Regist(m_target->Handle(), nullptr, kNotifyMessage, registered);
        ASSERT_NE(nullptr, m_dropTarget);
        m_data = CVskDataObject::CreateInstance(m_source->Handle(), kDataMessage, offered);
    }

    std::unique_ptr<CPlainWindow> m_source, m_target;
    CFixedProvider m_provider;
    CRecordingSink m_sink;
    CVskDropTarget* m_dropTarget = nullptr;
    IDataObject* m_data = nullptr;
    std::vector<unsigned int> m_events;
    std::vector<_IDROPTARGET_NOTIFY> m_records;
    std::vector<std::string> m_dataBytes;
};

TEST_F(ForwardingTest, TheFirstRegisteredFormatOnOfferIsFetchedAtEnterAndDrop) {
    Make({CF_TEXT, CF_HDROP}, {CF_HDROP, CF_TEXT});
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_sink.effectToAllow = DROPEFFECT_COPY;
    ASSERT_EQ(S_OK, m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect));
    ASSERT_EQ(S_OK, m_dropTarget->Drop(m_data, 0, pt, &effect));
    ASSERT_EQ(2u, m_records.size());
    EXPECT_EQ((std::vector<unsigned int>{0, 3}), m_events);
    EXPECT_EQ(1u, m_records[0].format);
    EXPECT_EQ(1u, m_records[1].format);
    EXPECT_EQ(std::string("text", 5), m_dataBytes[0]);
    EXPECT_EQ(m_data, m_records[0].dataObject);
    EXPECT_EQ(static_cast<DWORD>(MK_LBUTTON), m_records[0].keyState);
    EXPECT_EQ((std::vector<std::string>{"enter", "text"}), m_sink.calls);
    EXPECT_EQ("text", m_sink.text);
    EXPECT_EQ(static_cast<DWORD>(DROPEFFECT_COPY), effect);
    EXPECT_EQ(0, m_provider.fileCalls);
}

TEST_F(ForwardingTest, OverAndLeaveCarryNoDataAndOverGetsTheFormatSeenAtEnter) {
    Make({CF_HDROP}, {CF_HDROP});
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    m_dropTarget->DragOver(MK_LBUTTON, pt, &effect);
    m_dropTarget->DragLeave();
    ASSERT_EQ(3u, m_records.size());
    EXPECT_EQ(15u, m_records[0].format);
    EXPECT_EQ(0u, m_records[1].format);
    EXPECT_EQ(nullptr, m_records[1].dataObject);
    EXPECT_EQ(nullptr, m_records[1].data);
    EXPECT_EQ(15u, m_sink.formatAtEnter);
    EXPECT_EQ(m_target->Handle(), m_sink.underCursor);
    EXPECT_EQ(nullptr, m_records[2].point);
    EXPECT_EQ(0u, m_records[2].keyState);
    EXPECT_EQ(0u, m_records[2].format);
    EXPECT_EQ((std::vector<std::string>{"enter", "over", "leave"}), m_sink.calls);
    EXPECT_EQ(0u, m_sink.Remembered());
}

TEST_F(ForwardingTest, MoveIsPreferredWhenTheHandlerAllowsCopyAndMove) {
    Make({CF_TEXT}, {CF_TEXT});
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY | DROPEFFECT_MOVE | DROPEFFECT_LINK;
    m_sink.effectToAllow = DROPEFFECT_COPY | DROPEFFECT_MOVE;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    EXPECT_EQ(static_cast<DWORD>(DROPEFFECT_MOVE), effect);
    // The record's effect lost its copy bit too: the next handler finds move only.
    m_dropTarget->DragOver(MK_LBUTTON, pt, &effect);
    ASSERT_EQ(2u, m_records.size());
    EXPECT_EQ(static_cast<DWORD>(DROPEFFECT_MOVE), m_records[1].effect);
}

TEST_F(ForwardingTest, TheEffectFieldKeepsWhatTheLastHandlerWrote) {
    Make({CF_TEXT}, {CF_TEXT});
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_sink.effectToAllow = DROPEFFECT_COPY;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    ASSERT_EQ(1u, m_records.size());
    m_dropTarget->DragLeave(); // the sink's leave hook does not touch the effect
    EXPECT_EQ(static_cast<DWORD>(DROPEFFECT_COPY), m_records[1].effect);
}

TEST_F(ForwardingTest, AFormatWhoseDataCannotBeFetchedIsReportedAsFormatZero) {
    Make({CF_TEXT}, {CF_TEXT});
    m_source->onMessage = nullptr; // the source gives nothing
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    m_dropTarget->Drop(m_data, 0, pt, &effect);
    ASSERT_EQ(2u, m_records.size());
    EXPECT_EQ(0u, m_records[0].format);
    EXPECT_EQ(nullptr, m_records[0].data);
    EXPECT_EQ(m_data, m_records[0].dataObject);
    EXPECT_EQ((std::vector<std::string>{"enter", "leave"}), m_sink.calls);
}

TEST_F(ForwardingTest, ARegisteredFormatThatIsNeitherTextNorFileListIsRoutedToDragLeave) {
    Make({CF_UNICODETEXT}, {CF_UNICODETEXT});
    m_source->onMessage = [](UINT m, WPARAM, LPARAM l) {
        if (m == kDataMessage) // the provider gives nothing for other formats
            *reinterpret_cast<HGLOBAL*>(l) = GlobalBlockOf(std::string("w\0\0\0", 4));
    };
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    m_dropTarget->Drop(m_data, 0, pt, &effect);
    EXPECT_EQ(13u, m_records[1].format);
    EXPECT_EQ((std::vector<std::string>{"enter", "leave"}), m_sink.calls); // not "other"
}

namespace {

class CThrowingDropSink : public CVskDnDDropEvent {
    void OnDropText(void*, const char*) override { throw std::runtime_error("hook failed"); }
};

// The log goes to a file of a fresh folder while the object lives.
class CLogFile {
public:
    CLogFile() : m_path(m_dir.File("app.log")) { EXPECT_TRUE(FileLogger_SetLogFileName(m_path.c_str())); }
    ~CLogFile() { FileLogger_SetLogFileName(nullptr); }
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;
    std::string Text() const { return vsktest::MaskTimestamps(vsktest::ReadOrMissing(m_path)); }

private:
    vsktest::CTempDir m_dir;
    std::string m_path;
};

std::string CollectedHookError() {
    try {
        vsk::RethrowDragDropHookError();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing";
}

} // namespace

TEST_F(ForwardingTest, AHookExceptionDuringForwardingRefusesTheDropAndIsLoggedAndKeptForRethrowDragDropHookError) {
    // (Drop answered S_OK here before: the drag's source was told that the
    // data went over although the hook had failed.)
    Make({CF_TEXT}, {CF_TEXT});
    CThrowingDropSink throwing;
    HWND target = m_target->Handle();
    m_target->onMessage = [&](UINT m, WPARAM w, LPARAM l) {
        if (m == kNotifyMessage)
            throwing.DoEvent(target, static_cast<unsigned int>(w), static_cast<long>(l));
    };
    CLogFile log;
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    EXPECT_EQ(E_UNEXPECTED, m_dropTarget->Drop(m_data, 0, pt, &effect));
    EXPECT_EQ(static_cast<DWORD>(DROPEFFECT_NONE), effect);
    EXPECT_FALSE(m_target->error) << "the exception reached the window procedure";
    // No library call was running: the failure report, "例外発生(hook failed)"
    // with the drop target's position.
    const std::regex report("<TS>[^\n]*Vskolednd\\.cpp\\(\\d+\\): CVskDropTarget::Drop: "
                            "\x97\xE1\x8A\x4F\x94\xAD\x90\xB6\\(hook failed\\)\r\n");
    EXPECT_TRUE(std::regex_match(log.Text(), report)) << log.Text();
    EXPECT_NO_THROW(vsk::RethrowWindowHandlerError()); // another collecting call's
    EXPECT_EQ("hook failed", CollectedHookError());
    EXPECT_EQ("nothing", CollectedHookError()); // given back once
}

TEST_F(ForwardingTest, ADirectCallOfTheTargetsSendMessageALetsAHookExceptionThroughAfterFreeingTheData) {
    Make({CF_TEXT}, {CF_TEXT});
    CThrowingDropSink throwing;
    HWND target = m_target->Handle();
    m_target->onMessage = [&](UINT m, WPARAM w, LPARAM l) {
        if (m == kNotifyMessage)
            throwing.DoEvent(target, static_cast<unsigned int>(w), static_cast<long>(l));
    };
    POINTL pt{250, 50};
    unsigned long effect = DROPEFFECT_COPY;
    EXPECT_THROW(m_dropTarget->SendMessageA(3, m_data, 0, &pt, &effect), std::runtime_error);
    EXPECT_FALSE(m_target->error) << "the exception reached the window procedure";
    EXPECT_EQ("nothing", CollectedHookError());
}

TEST_F(ForwardingTest, ATargetsFailureWhileALibraryCallRunsGoesToThatCallNotToTheCollectingCall) {
    Make({CF_TEXT}, {CF_TEXT});
    CThrowingDropSink throwing;
    HWND target = m_target->Handle();
    m_target->onMessage = [&](UINT m, WPARAM w, LPARAM l) {
        if (m == kNotifyMessage)
            throwing.DoEvent(target, static_cast<unsigned int>(w), static_cast<long>(l));
    };
    // A window of the library whose handler calls the target as the system
    // would, while DoEvent (a running library call) dispatches it.
    const UINT kCallTarget = WM_APP + 9;
    HRESULT dropResult = S_OK;
    class CCallingWnd : public CVskWnd {
    public:
        std::function<void()> onCall;
        long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
            if (msg == kCallTarget)
                onCall();
            return CVskWnd::OnMessage(msg, wParam, lParam);
        }
    } caller;
    caller.onCall = [&] {
        POINTL pt{250, 50};
        DWORD effect = DROPEFFECT_COPY;
        dropResult = m_dropTarget->Drop(m_data, 0, pt, &effect);
    };
    ASSERT_EQ(0, caller.Create(nullptr, "caller", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr,
                               ::GetModuleHandleA(nullptr)));
    ::PostMessageA(caller.GetHandle(), kCallTarget, 0, 0);
    std::string caught = "nothing";
    try {
        caller.DoEvent();
    } catch (const std::runtime_error& e) {
        caught = e.what();
    }
    EXPECT_EQ(E_UNEXPECTED, dropResult);
    EXPECT_EQ("hook failed", caught);
    EXPECT_EQ("nothing", CollectedHookError());
    ::DestroyWindow(caller.GetHandle());
}

TEST_F(ForwardingTest, TheDataObjectAnswersEUnexpectedWhenItsProviderThrows) {
    Make({CF_TEXT}, {CF_TEXT});
    class CThrowingProvider : public CVskDnDGetEvent {
        void OnDropText(void*, CVskStr&) override { throw std::logic_error("provider failed"); }
    } throwing;
    HWND source = m_source->Handle();
    m_source->onMessage = [&](UINT m, WPARAM w, LPARAM l) {
        if (m == kDataMessage)
            throwing.DoEvent(source, static_cast<unsigned int>(w), static_cast<long>(l));
    };
    FORMATETC request = Request(CF_TEXT);
    STGMEDIUM medium{};
    EXPECT_EQ(E_UNEXPECTED, m_data->GetData(&request, &medium));
    EXPECT_EQ(nullptr, medium.hGlobal);
    EXPECT_FALSE(m_source->error) << "the exception reached the window procedure";
    EXPECT_EQ("provider failed", CollectedHookError());
}

TEST_F(ForwardingTest, AProviderExceptionIsKeptAndTheDataReportedAsNotFetched) {
    Make({CF_TEXT}, {CF_TEXT});
    class CThrowingProvider : public CVskDnDGetEvent {
        void OnDropText(void*, CVskStr&) override { throw std::logic_error("provider failed"); }
    } throwing;
    HWND source = m_source->Handle();
    m_source->onMessage = [&](UINT m, WPARAM w, LPARAM l) {
        if (m == kDataMessage)
            throwing.DoEvent(source, static_cast<unsigned int>(w), static_cast<long>(l));
    };
    POINTL pt{250, 50};
    DWORD effect = DROPEFFECT_COPY;
    m_dropTarget->DragEnter(m_data, MK_LBUTTON, pt, &effect);
    EXPECT_EQ(0u, m_records[0].format);
    EXPECT_THROW(vsk::RethrowDragDropHookError(), std::logic_error);
}

// ---------------------------------------------------------------- CVskDnDDropEvent

class DecodeTest : public DragDropTest {
protected:
    _IDROPTARGET_NOTIFY Record(UINT format, HGLOBAL data) {
        _IDROPTARGET_NOTIFY r{};
        r.point = &m_point;
        r.format = format;
        r.data = data;
        return r;
    }
    void Send(HWND window, unsigned int event, _IDROPTARGET_NOTIFY& r) {
        m_sink.DoEvent(window, event, reinterpret_cast<long>(&r));
    }
    POINTL m_point{0, 0};
    CRecordingSink m_sink;
};

TEST_F(DecodeTest, TheMapKeepsOneFormatPerWindowBetweenEnterAndLeaveOrDrop) {
    CPlainWindow a(0, 0, 50, 50), b(100, 0, 50, 50);
    _IDROPTARGET_NOTIFY text = Record(CF_TEXT, nullptr), files = Record(CF_HDROP, nullptr), over = Record(0, nullptr);
    Send(a.Handle(), 0, text);
    Send(b.Handle(), 0, files);
    EXPECT_EQ(2u, m_sink.Remembered());
    m_point = POINTL{125, 25};
    Send(a.Handle(), 1, over);
    EXPECT_EQ(1u, m_sink.formatAtEnter);
    EXPECT_EQ(b.Handle(), m_sink.underCursor); // the window under the cursor, not the receiver
    Send(b.Handle(), 1, over);
    EXPECT_EQ(15u, m_sink.formatAtEnter);
    Send(a.Handle(), 0, files); // enter again overwrites
    Send(a.Handle(), 1, over);
    EXPECT_EQ(15u, m_sink.formatAtEnter);
    Send(a.Handle(), 2, over);
    EXPECT_FALSE(m_sink.Remembers(a.Handle()));
    Send(a.Handle(), 1, over);
    EXPECT_EQ(0u, m_sink.formatAtEnter); // nothing remembered
    _IDROPTARGET_NOTIFY empty = Record(0, nullptr);
    Send(b.Handle(), 3, empty);
    EXPECT_EQ(0u, m_sink.Remembered());
}

TEST_F(DecodeTest, ChoiceTheEntryOfAWindowDestroyedDuringADragIsDroppedAtTheNextEventOfAnyWindow) {
    CPlainWindow doomed(0, 0, 50, 50), other(100, 0, 50, 50);
    _IDROPTARGET_NOTIFY text = Record(CF_TEXT, nullptr), over = Record(0, nullptr);
    Send(doomed.Handle(), 0, text);
    ASSERT_TRUE(m_sink.Remembers(doomed.Handle()));
    HWND gone = doomed.Handle();
    doomed.Destroy();
    Send(other.Handle(), 1, over);
    EXPECT_FALSE(m_sink.Remembers(gone));
    EXPECT_EQ(0u, m_sink.Remembered());
}

TEST_F(DecodeTest, ADropOfTextCallsOnDropTextWithTheText) {
    HGLOBAL block = GlobalBlockOf(std::string("abc\x95\x5C", 6));
    _IDROPTARGET_NOTIFY r = Record(CF_TEXT, block);
    Send(nullptr, 3, r);
    EXPECT_EQ((std::vector<std::string>{"text"}), m_sink.calls);
    EXPECT_EQ(std::string("abc\x95\x5C"), m_sink.text);
    ::GlobalFree(block);
}

TEST_F(DecodeTest, ADropOfAnotherFormatOrOfNoneCallsOnDragLeaveNotOnDropOther) {
    HGLOBAL block = GlobalBlockOf("x");
    _IDROPTARGET_NOTIFY other = Record(CF_UNICODETEXT, block), none = Record(0, nullptr);
    Send(nullptr, 3, other);
    Send(nullptr, 3, none);
    EXPECT_EQ((std::vector<std::string>{"leave", "leave"}), m_sink.calls);
    ::GlobalFree(block);
}

TEST_F(DecodeTest, ChoiceAHookExceptionOfADirectCallPassesToTheCaller) {
    class CThrowingSink : public CVskDnDDropEvent {
        void OnDragEnter(void*, _IDROPTARGET_NOTIFY*) override { throw std::runtime_error("direct"); }
    } throwing;
    _IDROPTARGET_NOTIFY r = Record(0, nullptr);
    EXPECT_THROW(throwing.DoEvent(nullptr, 0, reinterpret_cast<long>(&r)), std::runtime_error);
    EXPECT_NO_THROW(vsk::RethrowDragDropHookError()); // nothing was kept
}

TEST_F(DecodeTest, ADropOfAFileListCallsOnDropHDropWithTheNamesInOrder) {
    std::vector<CVskStr> names{"C:\\a.txt", CVskStr("C:\\") + kHyou + "\\" + kSo + ".txt", "D:\\b"};
    HGLOBAL block = vsk::detail::MakeDropFiles(names, true);
    _IDROPTARGET_NOTIFY r = Record(CF_HDROP, block);
    Send(nullptr, 3, r);
    ASSERT_EQ((std::vector<std::string>{"hdrop"}), m_sink.calls);
    ASSERT_EQ(3u, m_sink.files.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(std::string(names[i].c_str()), std::string(m_sink.files[i].c_str()));
    EXPECT_EQ(std::string("C:\\\x95\x5C\\\x83\x5C.txt"), m_sink.files[1].c_str());
    ::GlobalFree(block);
}

// ---------------------------------------------------------------- bad input

class BadInputTest : public DecodeTest {
protected:
    void Drop(UINT format, HGLOBAL block) {
        _IDROPTARGET_NOTIFY r = Record(format, block);
        Send(nullptr, 3, r);
    }
};

std::string DropFilesHeader(DWORD offset, BOOL wide) {
    DROPFILES h{};
    h.pFiles = offset;
    h.fWide = wide;
    return std::string(reinterpret_cast<const char*>(&h), sizeof h);
}

TEST_F(BadInputTest, ChoiceFileListBlocksThatCannotBeReadSafelyEndAsDragLeave) {
    struct Case {
        const char* name;
        std::string bytes;
    };
    const std::string header = DropFilesHeader(20, FALSE);
    const std::vector<Case> cases{
        {"empty block", std::string()},
        {"shorter than its header", header.substr(0, 12)},
        {"header only", header},
        {"offset past the end", DropFilesHeader(1000, FALSE) + std::string("a\0\0", 3)},
        {"offset inside the header", DropFilesHeader(4, FALSE) + std::string("a\0\0", 3)},
        {"list without its end", header + std::string("abc\0def", 7)},
        {"wide list without its end", DropFilesHeader(20, TRUE) + std::string("a\0\0\0b\0", 6)},
        {"wide list cut in a character", DropFilesHeader(20, TRUE) + std::string("a\0\0", 3)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        m_sink.calls.clear();
        HGLOBAL block = GlobalBlockOf(c.bytes);
        ASSERT_NE(nullptr, block);
        Drop(CF_HDROP, block);
        EXPECT_EQ((std::vector<std::string>{"leave"}), m_sink.calls);
        EXPECT_EQ(nullptr, ::GlobalFree(block));
    }
}

TEST_F(BadInputTest, AWellFormedListThatEndsAtTheBlocksLastByteIsRead) {
    HGLOBAL block = GlobalBlockOf(DropFilesHeader(20, FALSE) + std::string("ab\0c\0\0", 6));
    Drop(CF_HDROP, block);
    ASSERT_EQ((std::vector<std::string>{"hdrop"}), m_sink.calls);
    EXPECT_EQ((std::vector<CVskStr>{"ab", "c"}), m_sink.files);
    ::GlobalFree(block);
}

TEST_F(BadInputTest, ChoiceATextBlockWithoutATerminatorEndsAtTheBlocksEnd) {
    HGLOBAL block = GlobalBlockOf("abcdef");
    Drop(CF_TEXT, block);
    ASSERT_EQ((std::vector<std::string>{"text"}), m_sink.calls);
    EXPECT_EQ("abcdef", m_sink.text);
    ::GlobalFree(block);
}

TEST_F(BadInputTest, AnEmptyTextBlockOrNoBlockCallsNoHook) {
    HGLOBAL block = GlobalBlockOf(std::string());
    Drop(CF_TEXT, block);
    Drop(CF_TEXT, nullptr);
    EXPECT_TRUE(m_sink.calls.empty());
    ::GlobalFree(block);
}

TEST_F(BadInputTest, BadDropsLeakNoHeapMemoryAndNoObject) {
    const std::string header = DropFilesHeader(20, FALSE);
    auto round = [&] {
        for (const std::string& bytes : {std::string(), header.substr(0, 12), DropFilesHeader(1000, FALSE) + "a",
                                         header + std::string("abc", 3)}) {
            HGLOBAL block = GlobalBlockOf(bytes);
            Drop(CF_HDROP, block);
            Drop(CF_TEXT, block);
            ::GlobalFree(block);
        }
        m_sink.calls.clear();
    };
    round(); // first use of every path
    const std::size_t before = vsktest::ProcessHeapBytesInUse();
    const long objects = LiveDragDropObjects();
    for (int i = 0; i < 50; ++i)
        round();
    EXPECT_EQ(before, vsktest::ProcessHeapBytesInUse());
    EXPECT_EQ(objects, LiveDragDropObjects());
}

// ---------------------------------------------------------------- DROPFILES

std::vector<CVskStr> ManyNames(int count) {
    std::vector<CVskStr> names;
    for (int i = 0; i < count; ++i)
        names.push_back(CVskStr().Format("C:\\folder\\%s\\file%04d.txt", i % 2 ? kHyou : "x", i));
    return names;
}

void ExpectReadBack(const std::vector<CVskStr>& names, bool wide) {
    HGLOBAL block = vsk::detail::MakeDropFiles(names, wide);
    ASSERT_NE(nullptr, block);
    const std::string bytes = BytesOfGlobal(block);
    ASSERT_GE(bytes.size(), 20u);
    DROPFILES header{};
    std::memcpy(&header, bytes.data(), sizeof header);
    EXPECT_EQ(20u, header.pFiles);
    EXPECT_EQ(0, header.pt.x);
    EXPECT_EQ(0, header.pt.y);
    EXPECT_EQ(FALSE, header.fNC);
    EXPECT_EQ(wide ? TRUE : FALSE, header.fWide);
    std::vector<CVskStr> a = ReadBackA(block);
    std::vector<std::wstring> w = ReadBackW(block);
    ASSERT_EQ(names.size(), a.size());
    ASSERT_EQ(names.size(), w.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_TRUE(names[i] == a[i]) << i << ": " << a[i].c_str();
        EXPECT_TRUE(Wide(names[i]) == w[i]) << i;
    }
    ::GlobalFree(block);
}

// An empty list holds no name; Wine's DragQueryFileA/W count it as one empty
// name, so the library counts it itself (platform/DropFiles).
void ExpectEmptyListReadBack(bool wide) {
    HGLOBAL block = vsk::detail::MakeDropFiles({}, wide);
    ASSERT_NE(nullptr, block);
    const UINT systemCount = ::DragQueryFileA(static_cast<HDROP>(block), 0xFFFFFFFF, nullptr, 0);
    if (systemCount == 1) {
        // ...and the one name it counts has no character.
        EXPECT_EQ(0u, ::DragQueryFileA(static_cast<HDROP>(block), 0, nullptr, 0));
    } else {
        EXPECT_EQ(0u, systemCount);
    }
    class CSink : public CVskDnDDropEvent {
    public:
        int calls = 0;
        std::size_t names = 99;
        void OnDropHDrop(void*, const std::vector<CVskStr>& files) override {
            ++calls;
            names = files.size();
        }
    } sink;
    POINTL pt{0, 0};
    _IDROPTARGET_NOTIFY r{&pt, 0, 0, CF_HDROP, block, nullptr};
    sink.DoEvent(nullptr, 3, reinterpret_cast<long>(&r));
    EXPECT_EQ(1, sink.calls);
    EXPECT_EQ(0u, sink.names);
    ::GlobalFree(block);
}

TEST(DropFilesBlock, ZeroNamesDropAsAnEmptyListAlthoughWinesDragQueryFileCountsOneEmptyName) {
    ExpectEmptyListReadBack(true);
    ExpectEmptyListReadBack(false);
}

TEST(DropFilesBlock, ChoiceAnEmptyListHoldsTwoTerminators) {
    HGLOBAL block = vsk::detail::MakeDropFiles({}, true);
    EXPECT_EQ(std::string(4, '\0'), BytesOfGlobal(block).substr(20));
    EXPECT_EQ(24u, ::GlobalSize(block));
    ::GlobalFree(block);
}

TEST(DropFilesBlock, OneNameReadsBackInBothWidths) {
    ExpectReadBack({CVskStr("C:\\") + kHyou + "\\a.txt"}, true);
    ExpectReadBack({CVskStr("C:\\") + kHyou + "\\a.txt"}, false);
}

TEST(DropFilesBlock, AThousandNamesReadBackInOrder) {
    ExpectReadBack(ManyNames(1000), true);
    ExpectReadBack(ManyNames(1000), false);
}

TEST(DropFilesBlock, NamesOfMaximumPathLengthReadBack) {
    // 259 bytes plus the terminator fill MAX_PATH, also with double-byte
    // characters whose trail byte is a backslash.
    CVskStr longest = CVskStr("C:\\") + CVskStr(std::string(256, 'n').c_str());
    CVskStr japanese("C:\\");
    while (japanese.Length() + 2 <= MAX_PATH - 1)
        japanese += kHyou;
    ASSERT_EQ(MAX_PATH - 1, longest.Length());
    ASSERT_EQ(MAX_PATH - 1, japanese.Length());
    ExpectReadBack({longest, japanese, longest}, true);
    ExpectReadBack({longest, japanese, longest}, false);
}

TEST(DropFilesBlock, WideNamesAreUtf16WithEachNameAndTheListTerminated) {
    HGLOBAL block = vsk::detail::MakeDropFiles({CVskStr("a") + kHyou, "b"}, true);
    const std::string bytes = BytesOfGlobal(block);
    // U+8868 for 0x95 0x5C.
    EXPECT_EQ(std::string("a\0\x68\x88\0\0b\0\0\0\0\0", 12), bytes.substr(20));
    EXPECT_EQ(32u, bytes.size());
    ::GlobalFree(block);
}

TEST(DropFilesBlock, NarrowNamesKeepTheirCodePageBytes) {
    HGLOBAL block = vsk::detail::MakeDropFiles({CVskStr("a") + kHyou, "b"}, false);
    EXPECT_EQ(std::string("a\x95\x5C\0b\0\0", 7), BytesOfGlobal(block).substr(20));
    ::GlobalFree(block);
}

TEST(DropFilesBlock, ChoiceEmptyNamesAreLeftOutAndANameEndsAtItsFirstNul) {
    HGLOBAL block = vsk::detail::MakeDropFiles({"", CVskStr("ab\0cd", 5), "", "e"}, false);
    EXPECT_EQ(std::string("ab\0e\0\0", 6), BytesOfGlobal(block).substr(20));
    EXPECT_EQ((std::vector<CVskStr>{"ab", "e"}), ReadBackA(block));
    ::GlobalFree(block);
}

// ---------------------------------------------------------------- CVskDnDGetEvent

TEST(DragDropProvider, EmptyTextStillRendersAOneByteBlockHoldingTheTerminator) {
    CFixedProvider provider;
    HGLOBAL result = reinterpret_cast<HGLOBAL>(1);
    provider.DoEvent(nullptr, CF_TEXT, reinterpret_cast<long>(&result));
    ASSERT_NE(nullptr, result);
    EXPECT_EQ(1u, ::GlobalSize(result));
    EXPECT_EQ(std::string(1, '\0'), BytesOfGlobal(result));
    ::GlobalFree(result);
}

TEST(DragDropProvider, TextIsCopiedWithItsTerminatorAndEmbeddedNuls) {
    CFixedProvider provider;
    provider.text = CVskStr("a\0\x95\x5C", 4);
    HGLOBAL result = nullptr;
    provider.DoEvent(nullptr, CF_TEXT, reinterpret_cast<long>(&result));
    EXPECT_EQ(std::string("a\0\x95\x5C\0", 5), BytesOfGlobal(result));
    ::GlobalFree(result);
}

TEST(DragDropProvider, FileListsAreWideOnTheNtPlatform) {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    ASSERT_TRUE(::GetVersionExA(&info));
    CFixedProvider provider;
    provider.files = {CVskStr("C:\\") + kHyou};
    HGLOBAL result = nullptr;
    provider.DoEvent(nullptr, CF_HDROP, reinterpret_cast<long>(&result));
    ASSERT_NE(nullptr, result);
    DROPFILES header{};
    std::memcpy(&header, BytesOfGlobal(result).data(), sizeof header);
    EXPECT_EQ(info.dwPlatformId == 2 ? TRUE : FALSE, header.fWide);
    EXPECT_EQ(2u, info.dwPlatformId) << "this platform says it is not NT";
    EXPECT_EQ(provider.files, ReadBackA(result));
    ::GlobalFree(result);
}

TEST(DragDropProvider, OtherFormatsGiveNothingAndCallNoHook) {
    CFixedProvider provider;
    HGLOBAL result = reinterpret_cast<HGLOBAL>(1);
    provider.DoEvent(nullptr, CF_UNICODETEXT, reinterpret_cast<long>(&result));
    EXPECT_EQ(nullptr, result);
    EXPECT_EQ(0, provider.textCalls + provider.fileCalls + provider.otherCalls);
}

HGLOBAL __stdcall FailingGlobalAlloc(UINT, SIZE_T) { return nullptr; }

TEST(DragDropProvider, AFailedAllocationGivesANullResultMockedBecauseRealMemoryDoesNotRunOut) {
    vsk::detail::GlobalAllocFn previous = vsk::detail::SetDragDropGlobalAlloc(&FailingGlobalAlloc);
    CFixedProvider provider;
    provider.text = "t";
    provider.files = {"f"};
    HGLOBAL text = reinterpret_cast<HGLOBAL>(1), files = reinterpret_cast<HGLOBAL>(1);
    provider.DoEvent(nullptr, CF_TEXT, reinterpret_cast<long>(&text));
    provider.DoEvent(nullptr, CF_HDROP, reinterpret_cast<long>(&files));
    vsk::detail::SetDragDropGlobalAlloc(previous);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(nullptr, files);
}

} // namespace
