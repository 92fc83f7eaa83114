// Vskolednd_drag_test.cpp - real drags between two windows of the test process,
// driven by SendInput: the system's DoDragDrop calls the library's drop source,
// data object and drop target, and the data arrives through the messages.
#include "gui/Vskolednd.h"

#include "gui/Vskwnd.h"
#include "tests/gui/DragDropTestSupport.h"
#include "gui/internal/VskoledndHooks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using vskstr::CVskStr;
using vsktest::COleScope;
using vsktest::CPlainWindow;
using vsktest::LiveDragDropObjects;

const UINT kDataMessage = WM_APP + 21;
const UINT kNotifyMessage = WM_APP + 22;

// "表" (0x95 0x5C) and "ソ" (0x83 0x5C): trail bytes that are backslashes.
const char kHyou[] = "\x95\x5C";
const char kSo[] = "\x83\x5C";

void SendMouse(DWORD flags, POINT at) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dx = MulDiv(at.x, 65535, ::GetSystemMetrics(SM_CXSCREEN) - 1);
    input.mi.dy = MulDiv(at.y, 65535, ::GetSystemMetrics(SM_CYSCREEN) - 1);
    input.mi.dwFlags = flags | MOUSEEVENTF_ABSOLUTE;
    ::SendInput(1, &input, sizeof input);
}

void SendKey(WORD key, bool up) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
    ::SendInput(1, &input, sizeof input);
}

class CProvider : public CVskDnDGetEvent {
public:
    CVskStr text;
    std::vector<CVskStr> files;
    bool throwOnText = false;
    void OnDropText(void*, CVskStr& out) override {
        if (throwOnText)
            throw std::runtime_error("provider failed during the drag");
        out = text;
    }
    void OnDropHDrop(void*, std::vector<CVskStr>& out) override { out = files; }
};

class CSink : public CVskDnDDropEvent {
public:
    std::vector<std::string> calls;
    std::vector<UINT> formats;              // the record's format per event
    std::vector<unsigned int> formatsAtEnter; // what OnDragOver was given
    std::vector<void*> underCursor;
    std::string text;
    std::vector<CVskStr> files;
    DWORD allow = DROPEFFECT_COPY | DROPEFFECT_MOVE;
    bool throwOnDrop = false;
    std::function<void(void*)> onFirstOver;
    std::function<void()> onEnter;
    std::size_t Remembered() const { return m_formatAtEnter.size(); }

    void OnDragEnter(void*, _IDROPTARGET_NOTIFY* r) override {
        calls.push_back("enter");
        formats.push_back(r->format);
        r->effect = allow;
        if (onEnter)
            onEnter();
    }
    void OnDragOver(void*, _IDROPTARGET_NOTIFY* r, void* under, unsigned int atEnter) override {
        if (calls.empty() || calls.back() != "over")
            calls.push_back("over");
        formats.push_back(r->format);
        formatsAtEnter.push_back(atEnter);
        if (onFirstOver) {
            auto once = std::move(onFirstOver);
            onFirstOver = nullptr;
            once(under);
        }
        underCursor.push_back(under);
        r->effect = allow;
    }
    void OnDragLeave(void*, _IDROPTARGET_NOTIFY*) override { calls.push_back("leave"); }
    void OnDropText(void*, const char* t) override {
        calls.push_back("text");
        text = t;
        if (throwOnDrop)
            throw std::runtime_error("drop hook failed");
    }
    void OnDropHDrop(void*, const std::vector<CVskStr>& f) override {
        calls.push_back("hdrop");
        files = f;
    }
    void OnDropOther(void*, _IDROPTARGET_NOTIFY*) override { calls.push_back("other"); }
};

enum class End { Drop, Escape };

// The mouse of one drag, on a thread of its own: presses the button over
// `from`, and once the drag has begun (Begun) moves over `to` in steps and
// releases the button there, or presses escape first. A press that never
// leads to a drag (Ended before Begun: the platform lost it) is released
// again. A drag that has not ended 10 s after the release (its input went
// elsewhere) is cancelled, and Stuck says so, instead of waiting for ever.
class CDragInput {
public:
    CDragInput(POINT from, POINT to, End end, bool rightButton)
        : m_started(::CreateEventA(nullptr, TRUE, FALSE, nullptr)),
          m_returned(::CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        m_thread = std::thread([=] { Run(from, to, end, rightButton); });
    }
    ~CDragInput() {
        Ended();
        if (m_thread.joinable())
            m_thread.join();
        ::CloseHandle(m_started);
        ::CloseHandle(m_returned);
    }
    CDragInput(const CDragInput&) = delete;
    CDragInput& operator=(const CDragInput&) = delete;

    void Begun() { ::SetEvent(m_started); }
    void Ended() { ::SetEvent(m_returned); }
    /// Waits for the thread; true when a drag had to be cancelled.
    bool Stuck() {
        Ended();
        if (m_thread.joinable())
            m_thread.join();
        return m_stuck;
    }

private:
    void Run(POINT from, POINT to, End end, bool rightButton) {
        const DWORD down = rightButton ? MOUSEEVENTF_RIGHTDOWN : MOUSEEVENTF_LEFTDOWN;
        const DWORD up = rightButton ? MOUSEEVENTF_RIGHTUP : MOUSEEVENTF_LEFTUP;
        SendMouse(MOUSEEVENTF_MOVE, from);
        SendMouse(down, from);
        HANDLE either[2] = {m_started, m_returned};
        if (::WaitForMultipleObjects(2, either, FALSE, 15000) != WAIT_OBJECT_0) {
            SendMouse(up, from);
            return;
        }
        ::Sleep(300);
        const int steps = 8;
        for (int i = 1; i <= steps; ++i) {
            SendMouse(MOUSEEVENTF_MOVE, POINT{from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps});
            ::Sleep(60);
        }
        SendMouse(MOUSEEVENTF_MOVE, POINT{to.x + 2, to.y + 2});
        ::Sleep(200);
        if (end == End::Escape) {
            SendKey(VK_ESCAPE, false);
            ::Sleep(100);
            SendKey(VK_ESCAPE, true);
            ::Sleep(300);
        }
        SendMouse(up, POINT{to.x + 2, to.y + 2});
        while (::WaitForSingleObject(m_returned, 10000) == WAIT_TIMEOUT) {
            m_stuck = true;
            SendKey(VK_ESCAPE, false);
            SendKey(VK_ESCAPE, true);
            SendMouse(up, POINT{to.x + 2, to.y + 2});
        }
    }

    HANDLE m_started;
    HANDLE m_returned;
    std::atomic<bool> m_stuck{false};
    std::thread m_thread;
};

class RealDragTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(m_ole.Result()));
        m_liveAtStart = LiveDragDropObjects();
        m_source.reset(new CPlainWindow(40, 40, 160, 160));
        m_target.reset(new CPlainWindow(400, 40, 160, 160));
        ASSERT_TRUE(m_source->Handle() && m_target->Handle());
        HWND source = m_source->Handle(), target = m_target->Handle();
        m_source->onMessage = [this, source](UINT m, WPARAM w, LPARAM l) {
            if (m == WM_LBUTTONDOWN || m == WM_RBUTTONDOWN)
                m_buttonDown = true;
            if (m == kDataMessage)
                m_provider.DoEvent(source, static_cast<unsigned int>(w), static_cast<long>(l));
            if (m == kRenderOwnMessage)
                *reinterpret_cast<HGLOBAL*>(l) = vsktest::GlobalBlockOf("own");
        };
        m_target->onMessage = [this, target](UINT m, WPARAM w, LPARAM l) {
            if (m == kNotifyMessage)
                m_sink.DoEvent(target, static_cast<unsigned int>(w), static_cast<long>(l));
        };
        vsktest::PumpMessages();
    }
    void TearDown() override {
        if (m_dropTarget) {
            m_dropTarget->Revoke();
            m_dropTarget->Release();
        }
        m_source.reset();
        m_target.reset();
        vsktest::PumpMessages();
        EXPECT_EQ(m_liveAtStart, LiveDragDropObjects()) << "COM objects leaked";
    }

    void Register(const std::vector<unsigned int>& formats) {
        m_dropTarget = CVskDropTarget::Regist(m_target->Handle(), nullptr, kNotifyMessage, formats);
        ASSERT_NE(nullptr, m_dropTarget);
    }

    // Presses the button over the source, then (once the drag has begun)
    // moves over the target in steps and releases the button or presses
    // escape; returns what DoDragDrop returned. A round whose button press
    // the platform lost is run again, at most three times, saying so.
    long Drag(const std::vector<unsigned int>& formats, int allowed, End end, UINT message = kDataMessage,
              bool rightButton = false) {
        for (int round = 1; round <= 3; ++round) {
            long result = -2;
            std::exception_ptr error;
            if (TryDrag(formats, allowed, end, message, rightButton, result, error)) {
                if (error)
                    std::rethrow_exception(error);
                return result;
            }
            std::printf("round %d: the button press never reached the source window; the drag is run again\n", round);
        }
        ADD_FAILURE() << "the button press never reached the source window in three rounds";
        return -2;
    }

    // One round of Drag; false when the button press was lost.
    bool TryDrag(const std::vector<unsigned int>& formats, int allowed, End end, UINT message, bool rightButton,
                 long& result, std::exception_ptr& error) {
        ::SetForegroundWindow(m_source->Handle());
        ::SetFocus(m_source->Handle());
        m_buttonDown = false;
        CDragInput input(m_source->Center(), m_target->Center(), end, rightButton);
        const DWORD deadline = ::GetTickCount() + 10000;
        while (!m_buttonDown && ::GetTickCount() < deadline) {
            vsktest::PumpMessages();
            ::Sleep(10);
        }
        if (!m_buttonDown) {
            input.Ended();
            EXPECT_FALSE(input.Stuck());
            vsktest::PumpMessages();
            return false;
        }
        input.Begun();
        try {
            result = CVskDropSource::DoDragDrop(m_source->Handle(), message, formats, allowed);
        } catch (...) {
            error = std::current_exception(); // given on once the input thread is done
        }
        EXPECT_FALSE(input.Stuck()) << "the drag did not end after the button's release and was cancelled";
        vsktest::PumpMessages();
        m_buttonDown = false;
        return true;
    }

    static const UINT kRenderOwnMessage = WM_APP + 23;

    COleScope m_ole;
    long m_liveAtStart = 0;
    std::unique_ptr<CPlainWindow> m_source, m_target;
    CProvider m_provider;
    CSink m_sink;
    CVskDropTarget* m_dropTarget = nullptr;
    bool m_buttonDown = false;
};

TEST_F(RealDragTest, TextArrivesByteForByteAndMoveIsPreferredOverCopy) {
    Register({CF_TEXT, CF_HDROP});
    m_provider.text = CVskStr("drag ") + kHyou + kSo + "\\end";
    const long effect = Drag({CF_HDROP, CF_TEXT}, DROPEFFECT_COPY | DROPEFFECT_MOVE, End::Drop);
    EXPECT_EQ(DROPEFFECT_MOVE, effect);
    ASSERT_FALSE(m_sink.calls.empty());
    EXPECT_EQ("enter", m_sink.calls.front());
    EXPECT_EQ("text", m_sink.calls.back());
    EXPECT_EQ(std::string("drag \x95\x5C\x83\x5C\\end"), m_sink.text);
    EXPECT_EQ(1u, m_sink.formats.front()); // text is the first registered format on offer
}

TEST_F(RealDragTest, ARightButtonDragGoesOnWhileTheRightButtonIsHeldAndDropsOnItsRelease) {
    Register({CF_TEXT});
    m_provider.text = "right";
    const long effect = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop, kDataMessage, true);
    EXPECT_EQ(DROPEFFECT_COPY, effect);
    EXPECT_EQ("right", m_sink.text);
    ASSERT_FALSE(m_sink.calls.empty());
    EXPECT_EQ("text", m_sink.calls.back());
}

TEST_F(RealDragTest, OverCarriesFormatZeroAndTheFormatRememberedAtEnter) {
    Register({CF_HDROP});
    m_provider.files = {"C:\\x.txt"};
    Drag({CF_HDROP}, DROPEFFECT_COPY, End::Drop);
    ASSERT_GE(m_sink.formats.size(), 2u);
    EXPECT_EQ(15u, m_sink.formats.front());
    ASSERT_FALSE(m_sink.formatsAtEnter.empty()) << "no over event";
    for (std::size_t i = 1; i < m_sink.formats.size(); ++i)
        EXPECT_EQ(0u, m_sink.formats[i]) << i;
    for (unsigned int f : m_sink.formatsAtEnter)
        EXPECT_EQ(15u, f);
    EXPECT_EQ(m_target->Handle(), m_sink.underCursor.back());
}

TEST_F(RealDragTest, FileNamesArriveByteForByteAndTheAllowedEffectIsReturned) {
    Register({CF_TEXT, CF_HDROP});
    m_provider.files = {CVskStr("C:\\") + kHyou + "\\" + kSo + ".txt", "C:\\plain\\b.txt",
                        CVskStr("D:\\") + kSo + kSo};
    m_sink.allow = DROPEFFECT_COPY;
    const long effect = Drag({CF_HDROP}, DROPEFFECT_COPY | DROPEFFECT_MOVE, End::Drop);
    EXPECT_EQ(DROPEFFECT_COPY, effect);
    ASSERT_EQ(3u, m_sink.files.size());
    EXPECT_EQ(std::string("C:\\\x95\x5C\\\x83\x5C.txt"), m_sink.files[0].c_str());
    EXPECT_EQ(std::string("C:\\plain\\b.txt"), m_sink.files[1].c_str());
    EXPECT_EQ(std::string("D:\\\x83\x5C\x83\x5C"), m_sink.files[2].c_str());
    EXPECT_EQ("hdrop", m_sink.calls.back());
}

TEST_F(RealDragTest, EscapeDuringTheDragReturnsMinusOne) {
    Register({CF_TEXT});
    m_provider.text = "never dropped";
    const long result = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Escape);
    EXPECT_EQ(-1, result);
    EXPECT_TRUE(m_sink.text.empty());
    if (!m_sink.calls.empty()) {
        EXPECT_EQ("leave", m_sink.calls.back());
    }
}

TEST_F(RealDragTest, ADropThatTheTargetRefusesDropsNothing) {
    Register({CF_TEXT});
    m_provider.text = "refused";
    m_sink.allow = DROPEFFECT_NONE;
    // The system ends such a drag as a drop with no effect (Wine) or as a
    // cancelled drag: either way nothing is dropped.
    const long result = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
    EXPECT_TRUE(result == DROPEFFECT_NONE || result == -1) << result;
    EXPECT_TRUE(m_sink.text.empty());
    EXPECT_EQ("leave", m_sink.calls.back());
}

TEST_F(RealDragTest, ARegisteredFormatThatIsNeitherTextNorFileListEndsInOnDragLeave) {
    const UINT custom = ::RegisterClipboardFormatA("VskDragDropTestFormat");
    Register({custom});
    const long effect = Drag({custom}, DROPEFFECT_COPY, End::Drop, kRenderOwnMessage);
    EXPECT_EQ(DROPEFFECT_COPY, effect);
    ASSERT_FALSE(m_sink.formats.empty());
    EXPECT_EQ(custom, m_sink.formats.front());
    EXPECT_EQ("leave", m_sink.calls.back());
    for (const std::string& call : m_sink.calls)
        EXPECT_NE("other", call);
}

TEST_F(RealDragTest, AThrowingDropHookIsRethrownByDoDragDropAfterTheSystemsDrag) {
    Register({CF_TEXT});
    m_provider.text = "boom";
    m_sink.throwOnDrop = true;
    try {
        Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("drop hook failed", e.what());
    }
    EXPECT_FALSE(m_target->error) << "the exception crossed the window procedure";
    EXPECT_EQ("boom", m_sink.text);
}

TEST_F(RealDragTest, ChoiceAThrowingProviderCancelsTheDragAndIsRethrownByDoDragDrop) {
    Register({CF_TEXT});
    m_provider.throwOnText = true;
    try {
        Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("provider failed during the drag", e.what());
    }
    EXPECT_FALSE(m_source->error) << "the exception crossed the window procedure";
    EXPECT_TRUE(m_sink.text.empty());
}

std::vector<HGLOBAL> g_rendered;

HGLOBAL __stdcall RecordingGlobalAlloc(UINT flags, SIZE_T bytes) {
    HGLOBAL block = ::GlobalAlloc(flags, bytes);
    g_rendered.push_back(block);
    return block;
}

TEST_F(RealDragTest, EveryBlockTheProviderRendersIsFreedByTheSystemOrTheTarget) {
    Register({CF_TEXT, CF_HDROP});
    m_provider.text = "counted";
    m_provider.files = {"C:\\counted.txt"};
    g_rendered.clear();
    vsk::detail::GlobalAllocFn previous = vsk::detail::SetDragDropGlobalAlloc(&RecordingGlobalAlloc);
    const long text = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
    const long files = Drag({CF_HDROP}, DROPEFFECT_COPY, End::Drop);
    vsk::detail::SetDragDropGlobalAlloc(previous);
    EXPECT_EQ(DROPEFFECT_COPY, text);
    EXPECT_EQ(DROPEFFECT_COPY, files);
    EXPECT_GE(g_rendered.size(), 4u) << "enter and drop of each drag render a block";
    for (HGLOBAL block : g_rendered) {
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(0u, ::GlobalSize(block)) << "a rendered block is still allocated";
    }
}

TEST_F(RealDragTest, ChoiceATargetWindowDestroyedByItsHookDuringTheDragLosesItsEntryWhenTheHookReturns) {
    Register({CF_TEXT});
    m_provider.text = "lost";
    std::size_t rememberedInHook = 0;
    m_sink.onFirstOver = [this, &rememberedInHook](void*) {
        rememberedInHook = m_sink.Remembered();
        m_dropTarget->Revoke(); // the window's owner revokes before destroying it
        m_target->Destroy();
    };
    const long result = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
    EXPECT_TRUE(result == DROPEFFECT_NONE || result == -1) << result;
    EXPECT_EQ(1u, rememberedInHook);
    EXPECT_EQ(0u, m_sink.Remembered());
    EXPECT_TRUE(m_sink.text.empty());
}

// ---------------------------------------------------------------------------
// Exceptions during a drag: DoDragDrop, the innermost running call, cancels
// the drag and throws them; none outlives it or touches a later drag
// ---------------------------------------------------------------------------

const UINT kBystanderFails = WM_APP + 24;
const UINT kEndLoop = WM_APP + 25;

// A window of the library that has nothing to do with the drag.
class CBystanderWnd : public CVskWnd {
public:
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kBystanderFails)
            throw std::logic_error("bystander failed");
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

std::string CollectedHookError() {
    try {
        vsk::RethrowDragDropHookError();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing";
}

TEST_F(RealDragTest, AWindowHandlersExceptionInTheDragsOwnLoopCancelsTheDragAndComesOutOfDoDragDrop) {
    // (Before, it was kept for the window's next loop: the drag went on and
    // dropped, and the exception came out of a later, unrelated loop.)
    Register({CF_TEXT});
    m_provider.text = "never dropped";
    CBystanderWnd bystander;
    ASSERT_EQ(0, bystander.Create(nullptr, "bystander", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr,
                                  ::GetModuleHandleA(nullptr)));
    // Posted when the drag enters the target; the drag's own loop dispatches it.
    m_sink.onEnter = [&bystander] { ::PostMessageA(bystander.GetHandle(), kBystanderFails, 0, 0); };
    std::string caught = "nothing";
    try {
        Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop);
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("bystander failed", caught);
    EXPECT_TRUE(m_sink.text.empty()) << "the drag was not cancelled";
    // DoDragDrop took it: no later loop and no collecting call sees it.
    EXPECT_NO_THROW(bystander.DoEvent());
    EXPECT_NO_THROW(vsk::RethrowWindowHandlerError());
    EXPECT_EQ("nothing", CollectedHookError());
    ::DestroyWindow(bystander.GetHandle());
}

TEST_F(RealDragTest, AnExceptionKeptForTheCollectingCallNeitherCancelsNorFailsALaterDrag) {
    Register({CF_TEXT});
    // A drop hook fails while no library call runs, as in a drag of another
    // program that the program's own loop handles: the target is called as
    // the system would call it.
    m_sink.throwOnDrop = true;
    IDataObject* data = CVskDataObject::CreateInstance(m_source->Handle(), kDataMessage, {CF_TEXT});
    ASSERT_NE(nullptr, data);
    m_provider.text = "earlier";
    POINTL pt{m_target->Center().x, m_target->Center().y};
    DWORD effect = DROPEFFECT_COPY;
    EXPECT_EQ(E_UNEXPECTED, m_dropTarget->Drop(data, 0, pt, &effect));
    data->Release();
    EXPECT_EQ("earlier", m_sink.text);
    // The program's next drag runs as if nothing had happened.
    m_sink.throwOnDrop = false;
    m_sink.text.clear();
    m_provider.text = "later";
    long later = -2;
    EXPECT_NO_THROW(later = Drag({CF_TEXT}, DROPEFFECT_COPY, End::Drop));
    EXPECT_EQ(DROPEFFECT_COPY, later);
    EXPECT_EQ("later", m_sink.text);
    // Only the collecting call gives the earlier exception, once.
    EXPECT_EQ("drop hook failed", CollectedHookError());
    EXPECT_EQ("nothing", CollectedHookError());
}

// A source window of the library whose handler starts the drag when its
// button goes down, as programs do.
class CDraggingWnd : public CVskWnd {
public:
    std::function<void()> onButtonDown;
    CProvider* provider = nullptr;
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kDataMessage)
            provider->DoEvent(m_hWnd, wParam, lParam);
        if (msg == WM_LBUTTONDOWN && onButtonDown)
            onButtonDown();
        if (msg == kEndLoop)
            ::DestroyWindow(m_hWnd);
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

TEST_F(RealDragTest, ADragThatAHandlerRunsInsideDoMessageLoopThrowsIntoTheHandlerAndWhatLeavesItOutOfTheLoop) {
    Register({CF_TEXT});
    m_provider.text = "nested";
    m_sink.throwOnDrop = true;
    std::string handlerSaw = "nothing", loopThrew = "nothing";
    bool dragged = false;
    for (int round = 1; round <= 3 && !dragged; ++round) {
        CDraggingWnd source;
        source.provider = &m_provider;
        ASSERT_EQ(0, source.Create(nullptr, "source", WS_POPUP | WS_VISIBLE, WS_EX_TOPMOST, 40, 240, 160, 160, nullptr,
                                   nullptr, ::GetModuleHandleA(nullptr)));
        const HWND sourceWindow = source.GetHandle();
        RECT r{};
        ::GetWindowRect(sourceWindow, &r);
        HANDLE pressed = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
        CDragInput input(POINT{(r.left + r.right) / 2, (r.top + r.bottom) / 2}, m_target->Center(), End::Drop, false);
        source.onButtonDown = [&] {
            dragged = true;
            ::SetEvent(pressed);
            input.Begun();
            try {
                CVskDropSource::DoDragDrop(sourceWindow, kDataMessage, {CF_TEXT}, DROPEFFECT_COPY);
            } catch (const std::exception& e) {
                handlerSaw = e.what();
                ::PostMessageA(sourceWindow, kEndLoop, 0, 0); // ends the loop should it not throw
                throw;                                        // on out of the handler
            }
            ::PostMessageA(sourceWindow, kEndLoop, 0, 0);
        };
        // A press that never arrives (the platform lost it) ends the loop
        // after 15 s, and the round is run again.
        std::thread watchdog([&] {
            if (::WaitForSingleObject(pressed, 15000) == WAIT_TIMEOUT)
                ::PostMessageA(sourceWindow, kEndLoop, 0, 0);
        });
        ::SetForegroundWindow(sourceWindow);
        try {
            source.DoMessageLoop();
        } catch (const std::exception& e) {
            loopThrew = e.what();
        }
        ::SetEvent(pressed);
        watchdog.join();
        ::CloseHandle(pressed);
        EXPECT_FALSE(input.Stuck()) << "the drag did not end after the button's release and was cancelled";
        if (source.GetHandle())
            ::DestroyWindow(source.GetHandle());
        vsktest::PumpMessages();
        if (!dragged)
            std::printf("round %d: the button press never reached the source window; the drag is run again\n", round);
    }
    ASSERT_TRUE(dragged) << "the button press never reached the source window in three rounds";
    EXPECT_EQ("nested", m_sink.text);
    EXPECT_EQ("drop hook failed", handlerSaw) << "DoDragDrop, the innermost call, throws it into the handler";
    EXPECT_EQ("drop hook failed", loopThrew) << "what leaves the handler comes out of DoMessageLoop";
    EXPECT_EQ("nothing", CollectedHookError());
}

} // namespace
