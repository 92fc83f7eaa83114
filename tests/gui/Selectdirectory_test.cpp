// Selectdirectory_test.cpp - the folder chooser on the shell's real dialog, answered by
// a helper thread that finds the dialog and presses its buttons.
#include "gui/Selectdirectory.h"

#include "gui/Vskwnd.h"
#include "gui/internal/SelectdirectoryHooks.h"
#include "tests/gui/DragDropTestSupport.h"
#include "tests/support/TestSupport.h"

#include <shlobj.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using vskstr::CVskStr;
using vsktest::COleScope;
using vsktest::CTempDir;

struct FindDialog {
    DWORD thread;
    HWND found;
};

BOOL CALLBACK FindDialogOfThread(HWND hwnd, LPARAM data) {
    auto* find = reinterpret_cast<FindDialog*>(data);
    char className[32] = {};
    ::GetClassNameA(hwnd, className, sizeof className);
    if (::GetWindowThreadProcessId(hwnd, nullptr) == find->thread && std::string(className) == "#32770" &&
        ::IsWindowVisible(hwnd)) {
        find->found = hwnd;
        return FALSE;
    }
    return TRUE;
}

// The visible dialog of `thread`, waiting up to 30 s for it.
HWND WaitForDialog(DWORD thread) {
    for (int i = 0; i < 600; ++i) {
        FindDialog find{thread, nullptr};
        ::EnumWindows(&FindDialogOfThread, reinterpret_cast<LPARAM>(&find));
        if (find.found)
            return find.found;
        ::Sleep(50);
    }
    return nullptr;
}

struct FindText {
    std::string text;
    HWND found;
};

BOOL CALLBACK FindChildWithText(HWND hwnd, LPARAM data) {
    auto* find = reinterpret_cast<FindText*>(data);
    char text[MAX_PATH + 16] = {};
    ::GetWindowTextA(hwnd, text, sizeof text);
    if (find->text == text) {
        find->found = hwnd;
        return FALSE;
    }
    return TRUE;
}

// Whether a child of `dialog` shows `text`, waiting up to `tries` times 50 ms.
bool WaitForChildText(HWND dialog, const std::string& text, int tries) {
    for (int i = 0; i < tries; ++i) {
        FindText find{text, nullptr};
        ::EnumChildWindows(dialog, &FindChildWithText, reinterpret_cast<LPARAM>(&find));
        if (find.found)
            return true;
        ::Sleep(50);
    }
    return false;
}

void Press(HWND dialog, int button) {
    HWND control = ::GetDlgItem(dialog, button);
    if (control)
        ::SendMessageA(control, BM_CLICK, 0, 0);
    else
        ::PostMessageA(dialog, WM_COMMAND, button, 0);
}

// Presses OK once the dialog shows `path` as its status text (the initial
// selection has been made), a moment later so that the dialog has settled.
//
// Wine's dialog sometimes moves to the desktop right after the callback's
// selection at initialisation (a race inside the dialog, seen about one run
// in five, never on a second try): when the path is not shown within 3 s,
// the selection is asked for once more, as a user would pick it, and the
// test says so in its output.
std::function<void(HWND)> ConfirmWhenShowing(const std::string& path) {
    return [path](HWND dialog) {
        if (!WaitForChildText(dialog, path, 60)) {
            std::printf("the dialog lost the initial selection; selecting %s again\n", path.c_str());
            ::SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, reinterpret_cast<LPARAM>(path.c_str()));
        }
        EXPECT_TRUE(WaitForChildText(dialog, path, 200)) << "the initial folder was not shown: " << path;
        ::Sleep(300);
        Press(dialog, IDOK);
    };
}

// Runs `answer(dialog)` on a helper thread while the calling thread runs
// `open`; the helper cancels the dialog if `answer` leaves it open.
template <typename Open>
void WithAnswer(std::function<void(HWND)> answer, Open open, bool* sawDialog) {
    const DWORD me = ::GetCurrentThreadId();
    std::thread helper([&] {
        HWND dialog = WaitForDialog(me);
        *sawDialog = dialog != nullptr;
        if (!dialog)
            return;
        answer(dialog);
    });
    open();
    helper.join();
}

class SelectDirectoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(m_ole.Result()));
        // The folder path as the shell spells it (long names).
        char longPath[MAX_PATH] = {};
        ASSERT_NE(0u, ::GetLongPathNameA(m_dir.Path().c_str(), longPath, MAX_PATH));
        m_folder = longPath;
        m_japanese = m_folder + "\\\x95\x5C\x83\x5C";
        ASSERT_TRUE(::CreateDirectoryA(m_japanese.c_str(), nullptr));
        m_other = m_folder + "\\other";
        ASSERT_TRUE(::CreateDirectoryA(m_other.c_str(), nullptr));
    }
    COleScope m_ole;
    CTempDir m_dir;
    std::string m_folder, m_japanese, m_other;
};

TEST_F(SelectDirectoryTest, DirectOpenWithAnExistingFolderConfirmedAtOnceReturnsThatFolder) {
    bool saw = false;
    CVskStr chosen;
    WithAnswer(ConfirmWhenShowing(m_japanese),
               [&] { chosen = CSelectDirectory::DirectOpen(nullptr, m_japanese.c_str(), "choose"); }, &saw);
    ASSERT_TRUE(saw) << "the dialog never showed";
    EXPECT_EQ(m_japanese, chosen.c_str());
}

TEST_F(SelectDirectoryTest, CancelReturnsFalseAndEmptiesAnEarlierSelection) {
    CSelectDirectory chooser;
    bool saw = false, opened = false;
    WithAnswer(ConfirmWhenShowing(m_other), [&] { opened = chooser.Open(nullptr, m_other.c_str(), nullptr); }, &saw);
    ASSERT_TRUE(saw);
    ASSERT_TRUE(opened);
    ASSERT_EQ(m_other, chooser.GetSelectedFolder().c_str());
    WithAnswer([](HWND dialog) { Press(dialog, IDCANCEL); },
               [&] { opened = chooser.Open(nullptr, m_other.c_str(), nullptr); }, &saw);
    ASSERT_TRUE(saw);
    EXPECT_FALSE(opened);
    EXPECT_EQ(0, chooser.GetSelectedFolder().Length());
    WithAnswer([](HWND dialog) { Press(dialog, IDCANCEL); },
               [&] { EXPECT_EQ(0, CSelectDirectory::DirectOpen(nullptr, m_other.c_str(), "t").Length()); }, &saw);
    EXPECT_TRUE(saw);
}

TEST_F(SelectDirectoryTest, TheStatusTextFollowsTheSelection) {
    bool saw = false, initialShown = false, changedShown = false;
    const std::string other = m_other;
    const std::string initial = m_japanese;
    CVskStr chosen;
    // Wine's dialog may lose a selection while it is still filling its tree
    // (see ConfirmWhenShowing), sometimes for good: such a round is
    // cancelled and the dialog opened again, at most three times, saying so.
    for (int round = 1; round <= 3; ++round) {
        initialShown = changedShown = false;
        WithAnswer(
            [&](HWND dialog) {
                initialShown = WaitForChildText(dialog, initial, 60);
                if (!initialShown) {
                    ::SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, reinterpret_cast<LPARAM>(initial.c_str()));
                    initialShown = WaitForChildText(dialog, initial, 100);
                }
                for (int attempt = 0; attempt < 10 && initialShown && !changedShown; ++attempt) {
                    ::SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, reinterpret_cast<LPARAM>(other.c_str()));
                    changedShown = WaitForChildText(dialog, other, 20);
                }
                Press(dialog, initialShown && changedShown ? IDOK : IDCANCEL);
            },
            [&] { chosen = CSelectDirectory::DirectOpen(nullptr, initial.c_str(), "status"); }, &saw);
        ASSERT_TRUE(saw);
        if (initialShown && changedShown)
            break;
        std::printf("round %d: the dialog lost a selection (initial shown: %d, new shown: %d); opening it again\n",
                    round, initialShown, changedShown);
    }
    EXPECT_TRUE(initialShown) << "the initial folder's path was not shown";
    EXPECT_TRUE(changedShown) << "the new selection's path was not shown";
    EXPECT_EQ(other, chosen.c_str());
}

TEST_F(SelectDirectoryTest, TheTitleIsShownAboveTheTree) {
    bool saw = false, titleShown = false;
    WithAnswer(
        [&](HWND dialog) {
            titleShown = WaitForChildText(dialog, "\x83\x74\x83\x48\x83\x8B\x83\x5F", 200); // "フォルダ"
            Press(dialog, IDCANCEL);
        },
        [&] { CSelectDirectory::DirectOpen(nullptr, nullptr, "フォルダ"); }, &saw);
    ASSERT_TRUE(saw);
    EXPECT_TRUE(titleShown);
}

TEST_F(SelectDirectoryTest, AnUnknownInitialFolderLeavesTheDefaultSelection) {
    bool saw = false, opened = true;
    CSelectDirectory chooser;
    WithAnswer([](HWND dialog) { Press(dialog, IDCANCEL); },
               [&] { opened = chooser.Open(nullptr, (m_folder + "\\missing").c_str(), nullptr); }, &saw);
    ASSERT_TRUE(saw);
    EXPECT_FALSE(opened);
}

TEST_F(SelectDirectoryTest, AnItemWithoutAFileSystemPathConfirmedAnywayGivesTrueAndAnEmptyFolder) {
    // The dialog disables OK for such an item; the command is sent directly.
    bool saw = false, opened = false;
    CSelectDirectory chooser;
    const std::string initial = m_other;
    WithAnswer(
        [&](HWND dialog) {
            WaitForChildText(dialog, initial, 200);
            ::Sleep(300);
            LPITEMIDLIST computer = nullptr;
            if (::SHGetSpecialFolderLocation(nullptr, CSIDL_DRIVES, &computer) == S_OK) {
                // (no status text follows: the item has no path to show)
                ::SendMessageA(dialog, BFFM_SETSELECTIONA, FALSE, reinterpret_cast<LPARAM>(computer));
                ::Sleep(300);
                ::CoTaskMemFree(computer);
            }
            ::SendMessageA(dialog, WM_COMMAND, IDOK, 0);
        },
        [&] { opened = chooser.Open(nullptr, initial.c_str(), nullptr); }, &saw);
    ASSERT_TRUE(saw);
    EXPECT_TRUE(opened);
    EXPECT_EQ(0, chooser.GetSelectedFolder().Length())
        << "still the earlier folder, or the selection did not move: " << chooser.GetSelectedFolder().c_str();
}

// Counts the task allocator's blocks, which the shell's allocator hands out.
class CCountingMallocSpy : public IMallocSpy {
public:
    long live = 0;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IMallocSpy)) {
            *out = this;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T cb) override { return cb; }
    void* STDMETHODCALLTYPE PostAlloc(void* p) override {
        if (p)
            ++live;
        return p;
    }
    void* STDMETHODCALLTYPE PreFree(void* p, BOOL spyed) override {
        if (p && spyed)
            --live;
        return p;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* p, SIZE_T cb, void** out, BOOL) override {
        *out = p;
        return cb;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* p, BOOL) override { return p; }
    void* STDMETHODCALLTYPE PreGetSize(void* p, BOOL) override { return p; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T cb, BOOL) override { return cb; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* p, BOOL) override { return p; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

TEST_F(SelectDirectoryTest, TheChosenItemListIsFreedThroughTheShellsAllocator) {
    CSelectDirectory chooser;
    bool saw = false, opened = false;
    // A first run, so that the shell's one-time allocations are made.
    WithAnswer(ConfirmWhenShowing(m_other), [&] { opened = chooser.Open(nullptr, m_other.c_str(), nullptr); }, &saw);
    ASSERT_TRUE(opened);
    static CCountingMallocSpy spy; // outlives a registration that cannot be revoked
    spy.live = 0;
    ASSERT_EQ(S_OK, ::CoRegisterMallocSpy(&spy));
    long confirmed = 0, cancelled = 0;
    WithAnswer(ConfirmWhenShowing(m_other), [&] { opened = chooser.Open(nullptr, m_other.c_str(), nullptr); }, &saw);
    confirmed = spy.live;
    const CVskStr chosen = chooser.GetSelectedFolder();
    WithAnswer([](HWND dialog) { Press(dialog, IDCANCEL); },
               [&] { chooser.Open(nullptr, m_other.c_str(), nullptr); }, &saw);
    cancelled = spy.live - confirmed;
    EXPECT_EQ(S_OK, ::CoRevokeMallocSpy());
    ASSERT_TRUE(opened);
    EXPECT_EQ(m_other, chosen.c_str());
    // What a confirmed run leaves is what a cancelled one (no item list) leaves.
    EXPECT_EQ(cancelled, confirmed);
}

// ---------------------------------------------------------------------------
// Exceptions while the dialog runs: Open ends the dialog and throws them
// ---------------------------------------------------------------------------

namespace {

// The visible dialog of `thread`, waiting up to 30 s for it or until `open`
// has returned (a dialog that ends at once never shows).
HWND WaitForDialogWhileOpen(DWORD thread, const std::atomic<bool>& returned) {
    for (int i = 0; i < 600 && !returned; ++i) {
        FindDialog find{thread, nullptr};
        ::EnumWindows(&FindDialogOfThread, reinterpret_cast<LPARAM>(&find));
        if (find.found)
            return find.found;
        ::Sleep(50);
    }
    return nullptr;
}

// Waits (up to 30 s) for the dialog to go by itself; closes it otherwise,
// so that the test fails instead of hanging. True when it went by itself.
bool WaitUntilGone(HWND dialog) {
    for (int i = 0; i < 600; ++i) {
        if (!::IsWindow(dialog))
            return true;
        ::Sleep(50);
    }
    Press(dialog, IDCANCEL);
    return false;
}

BOOL __stdcall ThrowingStatusPath(LPCITEMIDLIST, char*) { throw std::runtime_error("status path failed"); }

// Puts the system's lookup back however the test ends.
class CThrowingStatusPath {
public:
    CThrowingStatusPath() : m_previous(vsk::detail::SetStatusPathFunction(&ThrowingStatusPath)) {}
    ~CThrowingStatusPath() { vsk::detail::SetStatusPathFunction(m_previous); }
    CThrowingStatusPath(const CThrowingStatusPath&) = delete;
    CThrowingStatusPath& operator=(const CThrowingStatusPath&) = delete;

private:
    vsk::detail::PathFromItemsFn m_previous;
};

const UINT kOwnerFails = WM_APP + 41;

class COwnerWnd : public CVskWnd {
public:
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kOwnerFails)
            throw std::logic_error("owner failed");
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

} // namespace

TEST_F(SelectDirectoryTest, AnExceptionOfTheCallbackEndsTheDialogAndIsThrownByOpenMockedBecauseTheCallbackCannotFailOnItsOwn) {
    CThrowingStatusPath throwing; // the status text's lookup at the first selection change
    CSelectDirectory chooser;
    bool saw = false, wentByItself = false, opened = true;
    std::atomic<bool> returned{false};
    std::string caught = "nothing";
    const DWORD me = ::GetCurrentThreadId();
    std::thread helper([&] {
        HWND dialog = WaitForDialogWhileOpen(me, returned);
        saw = dialog != nullptr;
        wentByItself = !dialog || WaitUntilGone(dialog);
    });
    try {
        opened = chooser.Open(nullptr, m_other.c_str(), nullptr);
    } catch (const std::runtime_error& e) {
        caught = e.what();
    }
    returned = true;
    helper.join();
    EXPECT_EQ("status path failed", caught);
    EXPECT_TRUE(opened) << "Open returned instead of throwing";
    EXPECT_TRUE(wentByItself) << "the dialog stayed open";
    EXPECT_EQ(0, chooser.GetSelectedFolder().Length());
    if (!saw)
        std::printf("the dialog ended before it showed\n");
}

TEST_F(SelectDirectoryTest, AnExceptionOfAWindowHandlerThatTheDialogsLoopRanEndsTheDialogAndIsThrownByOpen) {
    COwnerWnd owner;
    ASSERT_EQ(0, owner.Create(nullptr, "owner", WS_OVERLAPPEDWINDOW, 0, 0, 0, 200, 150, nullptr, nullptr,
                              ::GetModuleHandleA(nullptr)));
    CSelectDirectory chooser;
    bool saw = false, wentByItself = false, opened = true;
    std::atomic<bool> returned{false};
    std::string caught = "nothing";
    const DWORD me = ::GetCurrentThreadId();
    const HWND ownerWindow = owner.GetHandle();
    std::thread helper([&] {
        HWND dialog = WaitForDialogWhileOpen(me, returned);
        saw = dialog != nullptr;
        if (!dialog)
            return;
        ::PostMessageA(ownerWindow, kOwnerFails, 0, 0); // dispatched by the dialog's modal loop
        wentByItself = WaitUntilGone(dialog);
    });
    try {
        opened = chooser.Open(ownerWindow, m_other.c_str(), nullptr);
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    returned = true;
    helper.join();
    ASSERT_TRUE(saw) << "the dialog never showed";
    EXPECT_EQ("owner failed", caught);
    EXPECT_TRUE(opened) << "Open returned instead of throwing";
    EXPECT_TRUE(wentByItself) << "the dialog stayed open";
    EXPECT_NO_THROW(vsk::RethrowWindowHandlerError()) << "Open took it: nothing is kept for the collecting call";
    ::DestroyWindow(ownerWindow);
}

TEST(SelectDirectory, ANewChooserHasNoSelectedFolder) {
    CSelectDirectory chooser;
    EXPECT_EQ(0, chooser.GetSelectedFolder().Length());
}

TEST(SelectDirectory, TheCallbackReturnsZeroAndIgnoresOtherMessages) {
    CSelectDirectory chooser;
    EXPECT_EQ(0, CSelectDirectory::BrowseCallbackProc(nullptr, 99, 0, reinterpret_cast<LPARAM>(&chooser)));
    // A selection change to an item without a file-system path (the
    // computer) sends nothing (there is no dialog to send it to).
    LPITEMIDLIST computer = nullptr;
    ASSERT_EQ(S_OK, ::SHGetSpecialFolderLocation(nullptr, CSIDL_DRIVES, &computer));
    EXPECT_EQ(0, CSelectDirectory::BrowseCallbackProc(nullptr, BFFM_SELCHANGED, reinterpret_cast<LPARAM>(computer),
                                                      reinterpret_cast<LPARAM>(&chooser)));
    ::CoTaskMemFree(computer);
}

} // namespace
