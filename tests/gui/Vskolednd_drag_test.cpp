// Vskolednd_drag_test.cpp - real drags between two windows of the test process,
// driven by SendInput: the system's DoDragDrop calls the library's drop source,
// data object and drop target, and the data arrives through the messages.
#include "gui/Vskolednd.h"

#include "tests/gui/DragDropTestSupport.h"
#include "gui/internal/VskoledndHooks.h"

#include <gtest/gtest.h>

#include <atomic>
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
    std::size_t Remembered() const { return m_formatAtEnter.size(); }

    void OnDragEnter(void*, _IDROPTARGET_NOTIFY* r) override {
        calls.push_back("enter");
        formats.push_back(r->format);
        r->effect = allow;
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
    // escape; returns what DoDragDrop returned.
    long Drag(const std::vector<unsigned int>& formats, int allowed, End end, UINT message = kDataMessage,
              bool rightButton = false) {
        const DWORD down = rightButton ? MOUSEEVENTF_RIGHTDOWN : MOUSEEVENTF_LEFTDOWN;
        const DWORD up = rightButton ? MOUSEEVENTF_RIGHTUP : MOUSEEVENTF_LEFTUP;
        const POINT from = m_source->Center(), to = m_target->Center();
        ::SetForegroundWindow(m_source->Handle());
        ::SetFocus(m_source->Handle());
        HANDLE started = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
        HANDLE returned = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
        std::atomic<bool> stuck{false};
        std::thread input([&] {
            SendMouse(MOUSEEVENTF_MOVE, from);
            SendMouse(down, from);
            if (::WaitForSingleObject(started, 10000) != WAIT_OBJECT_0)
                return;
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
            // A drag that has not ended 10 s after the release (its input
            // went elsewhere) is cancelled, and the test fails instead of
            // waiting for ever.
            while (::WaitForSingleObject(returned, 10000) == WAIT_TIMEOUT) {
                stuck = true;
                SendKey(VK_ESCAPE, false);
                SendKey(VK_ESCAPE, true);
                SendMouse(up, POINT{to.x + 2, to.y + 2});
            }
        });
        const DWORD deadline = ::GetTickCount() + 10000;
        while (!m_buttonDown && ::GetTickCount() < deadline) {
            vsktest::PumpMessages();
            ::Sleep(10);
        }
        long result = -2;
        std::exception_ptr error;
        if (m_buttonDown) {
            ::SetEvent(started);
            try {
                result = CVskDropSource::DoDragDrop(m_source->Handle(), message, formats, allowed);
            } catch (...) {
                error = std::current_exception(); // given on once the input thread is done
            }
        } else {
            ADD_FAILURE() << "the button press never reached the source window";
            ::SetEvent(started);
        }
        ::SetEvent(returned);
        input.join();
        ::CloseHandle(started);
        ::CloseHandle(returned);
        EXPECT_FALSE(stuck) << "the drag did not end after the button's release and was cancelled";
        vsktest::PumpMessages();
        m_buttonDown = false;
        if (error)
            std::rethrow_exception(error);
        return result;
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

} // namespace
