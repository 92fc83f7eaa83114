// Vskwnd_test.cpp - the window class and message loop, on real windows.
#include "gui/Vskwnd.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

const UINT kDestroyMe = WM_APP + 1;
const UINT kThrowLogic = WM_APP + 2;
const UINT kPing = WM_APP + 3;

HINSTANCE Instance() { return GetModuleHandleA(nullptr); }

// Records what reaches each handler.
class CRecordingWnd : public CVskWnd {
public:
    long OnCreate(CREATESTRUCTA* cs) override {
        createRecordWasNull = (cs == nullptr);
        handleDuringCreate = m_hWnd;
        userDataDuringCreate = GetWindowLongA(m_hWnd, GWL_USERDATA);
        ++creates;
        return 0;
    }
    long OnDestroy() override {
        handleDuringDestroy = m_hWnd;
        ++destroys;
        return 0;
    }
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        messages.push_back(msg);
        if (creates == 0)
            ++messagesBeforeCreate;
        if (msg == kDestroyMe)
            DestroyWindow(m_hWnd);
        if (msg == kThrowLogic)
            throw std::logic_error("handler failed");
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
    long OnPaint(void* hdc, RECT updateRect) override {
        paintRects.push_back(updateRect);
        paintDcs.push_back(hdc);
        if (throwInPaint)
            throw std::out_of_range("paint failed");
        return 0;
    }
    int Seen(UINT msg) const {
        int n = 0;
        for (UINT m : messages)
            n += (m == msg);
        return n;
    }

    bool createRecordWasNull = false;
    HWND handleDuringCreate = nullptr;
    LONG userDataDuringCreate = 0;
    HWND handleDuringDestroy = nullptr;
    int creates = 0;
    int destroys = 0;
    int messagesBeforeCreate = 0;
    bool throwInPaint = false;
    std::vector<UINT> messages;
    std::vector<RECT> paintRects;
    std::vector<void*> paintDcs;
};

int CreateDefault(CVskWnd& wnd, const char* title = "t", DWORD style = WS_OVERLAPPEDWINDOW) {
    return wnd.Create(nullptr, title, style, 0, 0, 0, 200, 150, nullptr, nullptr, Instance());
}

void Destroy(CVskWnd& wnd) {
    if (wnd.GetHandle() != nullptr)
        DestroyWindow(wnd.GetHandle());
}

// Removes what is left on the thread's queue (quit messages included).
void DrainThreadQueue() {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
    }
}

} // namespace

TEST(CVskWnd, ConstructorLeavesBothHandleFieldsZero) {
    CVskWnd wnd;
    EXPECT_EQ(nullptr, wnd.GetHandle());
    EXPECT_EQ(-1, wnd.DoMessageLoop());
}

TEST(CVskWnd, DefaultClassIsRegisteredAsListed) {
    CRecordingWnd wnd;
    const char* title = "Default class title";
    ASSERT_EQ(0, CreateDefault(wnd, title));
    WNDCLASSEXA wc{};
    wc.cbSize = sizeof(wc);
    ASSERT_TRUE(GetClassInfoExA(Instance(), "VOSKEL Default Window Class", &wc));
    EXPECT_EQ(3u, wc.style);
    EXPECT_EQ(0, wc.cbClsExtra);
    EXPECT_EQ(0, wc.cbWndExtra);
    EXPECT_EQ(nullptr, wc.hIcon);
    EXPECT_EQ(nullptr, wc.hCursor);
    EXPECT_EQ(reinterpret_cast<HBRUSH>(5), wc.hbrBackground);
    EXPECT_EQ(reinterpret_cast<WNDPROC>(&CVskWnd::WndProc), wc.lpfnWndProc);
    // The title of the first window that registered the class is its menu name.
    EXPECT_EQ(48u, sizeof(WNDCLASSEXA));
    char className[64] = {};
    GetClassNameA(wnd.GetHandle(), className, sizeof(className));
    EXPECT_STREQ("\x56\x4F\x53\x4B\x45\x4C\x20\x44\x65\x66\x61\x75\x6C\x74\x20\x57\x69\x6E\x64\x6F\x77\x20\x43\x6C\x61"
                 "\x73\x73",
                 className);
    Destroy(wnd);
}

TEST(CVskWnd, CallersRecordIsChangedInPlace) {
    WNDCLASSEXA wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = DefWindowProcA;
    wc.hInstance = nullptr;
    wc.lpszClassName = "VskwndTestOwnClass";
    CRecordingWnd wnd;
    ASSERT_EQ(0, wnd.Create(&wc, "own", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr, Instance()));
    EXPECT_EQ(reinterpret_cast<WNDPROC>(&CVskWnd::WndProc), wc.lpfnWndProc);
    EXPECT_EQ(Instance(), wc.hInstance);
    char className[64] = {};
    GetClassNameA(wnd.GetHandle(), className, sizeof(className));
    EXPECT_STREQ("VskwndTestOwnClass", className);
    Destroy(wnd);
    UnregisterClassA("VskwndTestOwnClass", Instance());
}

TEST(CVskWnd, TwoDefaultClassWindowsBothSucceed) {
    CRecordingWnd first, second;
    ASSERT_EQ(0, CreateDefault(first));
    ASSERT_EQ(0, CreateDefault(second));
    EXPECT_NE(first.GetHandle(), second.GetHandle());
    // The second registration of the class is refused as existing.
    WNDCLASSEXA wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = &CVskWnd::WndProc;
    wc.hInstance = Instance();
    wc.lpszClassName = "VOSKEL Default Window Class";
    EXPECT_EQ(0, RegisterClassExA(&wc));
    EXPECT_EQ(1410u, GetLastError());
    Destroy(first);
    Destroy(second);
}

TEST(CVskWnd, NullTitleShowsNoneTitle) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, wnd.Create(nullptr, nullptr, WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr, Instance()));
    char text[64] = {};
    GetWindowTextA(wnd.GetHandle(), text, sizeof(text));
    EXPECT_STREQ("\x4E\x6F\x6E\x65\x20\x54\x69\x74\x6C\x65", text);
    Destroy(wnd);
}

TEST(CVskWnd, JapaneseTitleWithTrailByte5CIsKept) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "表示"));
    char text[64] = {};
    GetWindowTextA(wnd.GetHandle(), text, sizeof(text));
    EXPECT_EQ(std::string("\x95\x5C\x8E\xA6"), text);
    Destroy(wnd);
}

TEST(CVskWnd, RegistrationFailureOtherThanExistingReturnsMinusOne) {
    WNDCLASSEXA wc{};
    wc.cbSize = 0; // refused with an invalid-parameter error
    wc.lpszClassName = "VskwndTestBadRecord";
    CRecordingWnd wnd;
    EXPECT_EQ(-1, wnd.Create(&wc, "bad", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr, Instance()));
    EXPECT_NE(1410u, GetLastError());
    EXPECT_EQ(nullptr, wnd.GetHandle());
    EXPECT_EQ(0, wnd.creates);
}

TEST(CVskWnd, DoMessageLoopAfterFailedCreateReturnsMinusOneAtOnce) {
    CRecordingWnd wnd;
    // A child window of a parent that does not exist cannot be created.
    EXPECT_EQ(-1, wnd.Create(nullptr, "orphan", WS_CHILD, 0, 0, 0, 10, 10, reinterpret_cast<void*>(0x12345678),
                             nullptr, Instance()));
    EXPECT_EQ(nullptr, wnd.GetHandle());
    PostThreadMessageA(GetCurrentThreadId(), kPing, 0, 0); // would be waited for, were the loop entered
    EXPECT_EQ(-1, wnd.DoMessageLoop());
    MSG msg;
    EXPECT_TRUE(PeekMessageA(&msg, nullptr, kPing, kPing, PM_REMOVE));
}

TEST(CVskWnd, CreateStoresObjectAndHandleAndCallsOnCreateWithNull) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    EXPECT_EQ(1, wnd.creates);
    EXPECT_TRUE(wnd.createRecordWasNull);
    EXPECT_EQ(wnd.GetHandle(), wnd.handleDuringCreate);
    EXPECT_EQ(reinterpret_cast<LONG>(static_cast<CVskWnd*>(&wnd)), wnd.userDataDuringCreate);
    EXPECT_EQ(reinterpret_cast<LONG>(static_cast<CVskWnd*>(&wnd)), GetWindowLongA(wnd.GetHandle(), -21));
    Destroy(wnd);
}

TEST(CVskWnd, MessagesBeforeCreateGoToTheSystemNotToOnMessage) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    EXPECT_EQ(0, wnd.messagesBeforeCreate);
    EXPECT_EQ(0, wnd.Seen(WM_NCCREATE));
    // ...and the system's handling of WM_NCCREATE set the title.
    char text[8] = {};
    GetWindowTextA(wnd.GetHandle(), text, sizeof(text));
    EXPECT_STREQ("t", text);
    Destroy(wnd);
}

TEST(CVskWnd, DestroyCallsOnDestroyThenClearsTheHandleWithoutQuitMessage) {
    DrainThreadQueue();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    const HWND hwnd = wnd.GetHandle();
    ASSERT_TRUE(DestroyWindow(hwnd));
    EXPECT_EQ(1, wnd.destroys);
    EXPECT_EQ(hwnd, wnd.handleDuringDestroy);
    EXPECT_EQ(nullptr, wnd.GetHandle());
    MSG msg;
    EXPECT_FALSE(PeekMessageA(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST(CVskWnd, OnPaintReceivesTheInvalidatedRectangle) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "paint", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    wnd.DoEvent();
    ValidateRect(wnd.GetHandle(), nullptr);
    wnd.paintRects.clear();
    const RECT invalid{10, 20, 30, 40};
    InvalidateRect(wnd.GetHandle(), &invalid, FALSE);
    UpdateWindow(wnd.GetHandle());
    ASSERT_EQ(1u, wnd.paintRects.size());
    EXPECT_EQ(10, wnd.paintRects[0].left);
    EXPECT_EQ(20, wnd.paintRects[0].top);
    EXPECT_EQ(30, wnd.paintRects[0].right);
    EXPECT_EQ(40, wnd.paintRects[0].bottom);
    EXPECT_NE(nullptr, wnd.paintDcs[0]);
    // EndPaint validated the region.
    RECT left;
    EXPECT_FALSE(GetUpdateRect(wnd.GetHandle(), &left, FALSE));
    Destroy(wnd);
}

TEST(CVskWnd, PaintWithoutUpdateRegionPaintsNothingAndReturnsZero) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "paint", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    wnd.DoEvent();
    ValidateRect(wnd.GetHandle(), nullptr);
    wnd.paintRects.clear();
    EXPECT_EQ(0, SendMessageA(wnd.GetHandle(), WM_PAINT, 0, 0));
    EXPECT_TRUE(wnd.paintRects.empty());
    EXPECT_EQ(0, wnd.Seen(WM_PAINT));
    Destroy(wnd);
}

TEST(CVskWnd, PostQuitMessageDoesNotEndTheLoopDestroyWindowDoes) {
    DrainThreadQueue();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    PostQuitMessage(7);
    PostMessageA(wnd.GetHandle(), kPing, 0, 0);
    PostMessageA(wnd.GetHandle(), kDestroyMe, 0, 0);
    EXPECT_EQ(0, wnd.DoMessageLoop());
    EXPECT_EQ(1, wnd.Seen(kPing));
    EXPECT_EQ(1, wnd.destroys);
    EXPECT_EQ(nullptr, wnd.GetHandle());
    DrainThreadQueue();
}

TEST(CVskWnd, DoEventDispatchesOnlyThisWindowsMessagesWithoutWaiting) {
    DrainThreadQueue();
    CRecordingWnd a, b;
    ASSERT_EQ(0, CreateDefault(a));
    ASSERT_EQ(0, CreateDefault(b));
    PostMessageA(a.GetHandle(), kPing, 1, 0);
    PostMessageA(a.GetHandle(), kPing, 2, 0);
    PostMessageA(b.GetHandle(), kPing, 3, 0);
    PostThreadMessageA(GetCurrentThreadId(), kPing, 4, 0);
    a.DoEvent();
    EXPECT_EQ(2, a.Seen(kPing));
    EXPECT_EQ(0, b.Seen(kPing));
    MSG msg;
    EXPECT_TRUE(PeekMessageA(&msg, b.GetHandle(), kPing, kPing, PM_NOREMOVE));
    EXPECT_TRUE(PeekMessageA(&msg, reinterpret_cast<HWND>(-1), kPing, kPing, PM_NOREMOVE));
    a.DoEvent(); // nothing queued: returns at once
    Destroy(a);
    Destroy(b);
    DrainThreadQueue();
}

TEST(CVskWnd, SetClientRectGivesExactClientAreaWithCaptionAndMenu) {
    HMENU menu = CreateMenu();
    AppendMenuA(menu, MF_STRING, 1, "File");
    CRecordingWnd wnd;
    ASSERT_EQ(0, wnd.Create(nullptr, "client", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 50, 50, 300, 200, nullptr, menu,
                            Instance()));
    ASSERT_EQ(menu, GetMenu(wnd.GetHandle()));
    ASSERT_TRUE(wnd.SetClientRect(0, 0, 640, 480));
    RECT client;
    ASSERT_TRUE(GetClientRect(wnd.GetHandle(), &client));
    EXPECT_EQ(640, client.right - client.left);
    EXPECT_EQ(480, client.bottom - client.top);
    // The window also moved: its frame is the adjusted rectangle.
    RECT expected{0, 0, 640, 480};
    AdjustWindowRectEx(&expected, GetWindowLongA(wnd.GetHandle(), GWL_STYLE), TRUE,
                       GetWindowLongA(wnd.GetHandle(), GWL_EXSTYLE));
    RECT frame;
    GetWindowRect(wnd.GetHandle(), &frame);
    EXPECT_EQ(expected.left, frame.left);
    EXPECT_EQ(expected.top, frame.top);
    Destroy(wnd);
}

TEST(CVskWnd, SetClientRectWithoutMenuUsesTheStyleOnly) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "nomenu", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    ASSERT_TRUE(wnd.SetClientRect(10, 20, 310, 220));
    RECT client;
    GetClientRect(wnd.GetHandle(), &client);
    EXPECT_EQ(300, client.right);
    EXPECT_EQ(200, client.bottom);
    Destroy(wnd);
}

TEST(CVskWnd, SetClientRectWithoutWindowFails) {
    CVskWnd wnd;
    EXPECT_FALSE(wnd.SetClientRect(0, 0, 640, 480));
}

TEST(CVskWnd, ExceptionOfOnPaintReachesDoEventCallerUnchanged) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "paint", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    wnd.DoEvent();
    wnd.throwInPaint = true;
    InvalidateRect(wnd.GetHandle(), nullptr, FALSE);
    std::string caught = "nothing";
    try {
        wnd.DoEvent();
    } catch (const std::out_of_range& e) {
        caught = e.what();
    }
    EXPECT_EQ("paint failed", caught);
    // EndPaint ran all the same and the window keeps working.
    RECT left;
    EXPECT_FALSE(GetUpdateRect(wnd.GetHandle(), &left, FALSE));
    wnd.throwInPaint = false;
    PostMessageA(wnd.GetHandle(), kPing, 0, 0);
    EXPECT_NO_THROW(wnd.DoEvent());
    EXPECT_EQ(1, wnd.Seen(kPing));
    Destroy(wnd);
}

TEST(CVskWnd, ExceptionOfOnMessageReachesDoMessageLoopCallerAndTheLoopCanGoOn) {
    DrainThreadQueue();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    PostMessageA(wnd.GetHandle(), kThrowLogic, 0, 0);
    PostMessageA(wnd.GetHandle(), kDestroyMe, 0, 0);
    std::string caught = "nothing";
    try {
        wnd.DoMessageLoop();
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("handler failed", caught);
    EXPECT_NE(nullptr, wnd.GetHandle());
    EXPECT_EQ(0, wnd.DoMessageLoop());
    EXPECT_EQ(1, wnd.destroys);
}

// ---------------------------------------------------------------------------
// Exceptions of handlers: thrown by the innermost running library call, or
// with none running written to the log and kept for the collecting call
// ---------------------------------------------------------------------------

namespace {

// "例外発生" (an exception occurred) in code page 932.
const char kExceptionOccurred[] = "\x97\xE1\x8A\x4F\x94\xAD\x90\xB6";

// The report a window procedure writes for `what`: time stamp, the position
// of the window procedure in the library's source, the message (the log is a
// text file: its lines end in CR LF).
std::regex WndProcReport(const std::string& what) {
    return std::regex("<TS>[^\n]*Vskwnd\\.cpp\\(\\d+\\): CVskWnd::WndProc: " + std::string(kExceptionOccurred) +
                      "\\(" + what + "\\)\r\n");
}

int Matches(const std::string& text, const std::regex& pattern) {
    return static_cast<int>(std::distance(std::sregex_iterator(text.begin(), text.end(), pattern),
                                          std::sregex_iterator()));
}

std::string CollectedHandlerError() {
    try {
        vsk::RethrowWindowHandlerError();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing";
}

using CVskWndLogTest = vsktest::CLogTest;

} // namespace

TEST(CVskWnd, ExceptionOfOnMessageSentByAnotherThreadEndsDoMessageLoopWithoutAnotherMessage) {
    DrainThreadQueue();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    const HWND hwnd = wnd.GetHandle();
    HANDLE loopEnded = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::atomic<bool> rescued{false};
    std::thread sender([&] {
        // Handled inside the loop's GetMessageA; nothing is posted after it.
        SendMessageA(hwnd, kThrowLogic, 0, 0);
        // Should the loop go on waiting, it is ended after a generous time
        // and the test fails instead of hanging.
        if (WaitForSingleObject(loopEnded, 30000) == WAIT_TIMEOUT) {
            rescued = true;
            PostMessageA(hwnd, kDestroyMe, 0, 0);
        }
    });
    std::string caught = "nothing";
    try {
        wnd.DoMessageLoop();
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    SetEvent(loopEnded);
    sender.join();
    CloseHandle(loopEnded);
    EXPECT_EQ("handler failed", caught);
    EXPECT_FALSE(rescued) << "the loop waited for another message";
    EXPECT_NE(nullptr, wnd.GetHandle());
    Destroy(wnd);
    DrainThreadQueue();
}

TEST(CVskWnd, ExceptionOfOnMessageSentByAnotherThreadIsThrownByDoEvent) {
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    const HWND hwnd = wnd.GetHandle();
    std::atomic<bool> sent{false};
    std::thread sender([&] {
        SendMessageA(hwnd, kThrowLogic, 0, 0);
        sent = true;
    });
    std::string caught = "nothing";
    // The message arrives while DoEvent looks at the queue; up to 30 s.
    for (int i = 0; i < 3000 && caught == "nothing"; ++i) {
        try {
            wnd.DoEvent();
        } catch (const std::logic_error& e) {
            caught = e.what();
        }
        if (caught == "nothing")
            Sleep(10);
    }
    sender.join();
    EXPECT_TRUE(sent);
    EXPECT_EQ("handler failed", caught);
    EXPECT_EQ("nothing", CollectedHandlerError());
    Destroy(wnd);
}

namespace {

// A window whose handler of kPing runs another window's loop.
class CNestingWnd : public CVskWnd {
public:
    CVskWnd* inner = nullptr;
    std::string innerThrew = "nothing";
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kPing) {
            try {
                inner->DoMessageLoop();
            } catch (const std::exception& e) {
                innerThrew = e.what();
                throw; // on out of this handler, to the outer loop
            }
        }
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

} // namespace

TEST(CVskWnd, ANestedLoopThrowsItsHandlersExceptionAndTheOuterLoopWhatLeavesTheOuterHandler) {
    DrainThreadQueue();
    CRecordingWnd inner;
    CNestingWnd outer;
    ASSERT_EQ(0, CreateDefault(inner));
    ASSERT_EQ(0, CreateDefault(outer));
    outer.inner = &inner;
    PostMessageA(outer.GetHandle(), kPing, 0, 0);
    PostMessageA(inner.GetHandle(), kThrowLogic, 0, 0);
    std::string caught = "nothing";
    try {
        outer.DoMessageLoop();
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("handler failed", outer.innerThrew) << "the inner loop, the innermost call, threw it";
    EXPECT_EQ("handler failed", caught) << "what left the outer handler reached the outer loop";
    EXPECT_EQ("nothing", CollectedHandlerError());
    Destroy(inner);
    Destroy(outer);
    DrainThreadQueue();
}

TEST_F(CVskWndLogTest, ExceptionOfAMessageSentWhileNoLibraryCallRunsIsLoggedAndOnlyRethrowWindowHandlerErrorGivesIt) {
    const std::string log = UseLog();
    DrainThreadQueue();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    EXPECT_EQ(0, SendMessageA(wnd.GetHandle(), kThrowLogic, 0, 0)); // the system sees 0
    // No later, unrelated call throws it.
    EXPECT_NO_THROW(wnd.DoEvent());
    PostMessageA(wnd.GetHandle(), kDestroyMe, 0, 0);
    EXPECT_EQ(0, wnd.DoMessageLoop());
    // The collecting call does, once.
    EXPECT_EQ("handler failed", CollectedHandlerError());
    EXPECT_EQ("nothing", CollectedHandlerError());
    const std::string text = vsktest::MaskTimestamps(vsktest::ReadOrMissing(log));
    EXPECT_EQ(1, Matches(text, WndProcReport("handler failed"))) << text;
}

TEST_F(CVskWndLogTest, OfTwoExceptionsKeptWhileNoCallRunsTheCollectingCallGivesTheFirstAndBothAreLogged) {
    const std::string log = UseLog();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "t", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    wnd.DoEvent();
    wnd.throwInPaint = true;
    SendMessageA(wnd.GetHandle(), kThrowLogic, 0, 0);
    InvalidateRect(wnd.GetHandle(), nullptr, FALSE);
    UpdateWindow(wnd.GetHandle()); // WM_PAINT sent at once
    wnd.throwInPaint = false;
    EXPECT_NO_THROW(wnd.DoEvent());
    EXPECT_EQ("handler failed", CollectedHandlerError());
    EXPECT_EQ("nothing", CollectedHandlerError());
    const std::string text = vsktest::MaskTimestamps(vsktest::ReadOrMissing(log));
    EXPECT_EQ(1, Matches(text, WndProcReport("handler failed"))) << text;
    EXPECT_EQ(1, Matches(text, WndProcReport("paint failed"))) << text;
    Destroy(wnd);
}

TEST_F(CVskWndLogTest, ExceptionsThatRunningCallsThrowAreNotLogged) {
    const std::string log = UseLog();
    CRecordingWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd));
    PostMessageA(wnd.GetHandle(), kThrowLogic, 0, 0);
    EXPECT_THROW(wnd.DoEvent(), std::logic_error);
    EXPECT_EQ("<missing>", vsktest::ReadOrMissing(log));
    Destroy(wnd);
}

namespace {
class CThrowingCreateWnd : public CVskWnd {
public:
    long OnCreate(CREATESTRUCTA*) override { throw std::invalid_argument("create failed"); }
};
} // namespace

TEST(CVskWnd, ChoiceExceptionOfOnCreateReachesTheCreateCallerWithTheWindowMade) {
    CThrowingCreateWnd wnd;
    std::string caught = "nothing";
    try {
        CreateDefault(wnd);
    } catch (const std::invalid_argument& e) {
        caught = e.what();
    }
    EXPECT_EQ("create failed", caught);
    // The system saw 0 from WM_CREATE, so the window exists.
    EXPECT_TRUE(IsWindow(wnd.GetHandle()));
    Destroy(wnd);
}

TEST(CVskWnd, BadInputWindowWhoseObjectWasDeletedAfterDestroyWindow) {
    auto wnd = std::make_unique<CRecordingWnd>();
    ASSERT_EQ(0, CreateDefault(*wnd));
    const HWND hwnd = wnd->GetHandle();
    ASSERT_TRUE(DestroyWindow(hwnd));
    wnd.reset();
    EXPECT_FALSE(IsWindow(hwnd));
    EXPECT_FALSE(PostMessageA(hwnd, kPing, 0, 0));
    EXPECT_EQ(0, SendMessageA(hwnd, kPing, 0, 0));
    EXPECT_EQ(0, GetWindowLongA(hwnd, GWL_USERDATA));
}

TEST(CVskWnd, BadInputMessagesToAnObjectThatNeverCreatedAWindow) {
    CVskWnd wnd;
    EXPECT_NO_THROW(wnd.DoEvent());
    EXPECT_EQ(-1, wnd.DoMessageLoop());
}

TEST(CVskWnd, DefaultHandlersReturnZeroAndOnMessageGoesToTheSystem) {
    CVskWnd wnd;
    ASSERT_EQ(0, CreateDefault(wnd, "abc"));
    EXPECT_EQ(0, wnd.OnCreate(nullptr));
    EXPECT_EQ(0, wnd.OnDestroy());
    EXPECT_EQ(0, wnd.OnPaint(nullptr, RECT{}));
    EXPECT_EQ(3, wnd.OnMessage(WM_GETTEXTLENGTH, 0, 0));
    Destroy(wnd);
    EXPECT_EQ(nullptr, wnd.GetHandle());
}
