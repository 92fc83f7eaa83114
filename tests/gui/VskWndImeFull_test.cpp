// VskWndImeFull_test.cpp - the input-method window, on real windows with the
// platform's IME (ja_JP: at caret, no special UI) where it can produce the
// state; the names say where messages or fields stand in for the platform.
#include "gui/VskWndImeFull.h"

#include "diagnostics/Filelogger.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <imm.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

using vskstr::CVskStr;

namespace {

const UINT kDriveComposition = WM_APP + 10;
const UINT kDestroyMe = WM_APP + 11;

int* volatile g_null = nullptr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), static_cast<size_t>(s.Length())); }

// Records the hooks and the WM_CHAR bytes; gives the tests the fields.
class CImeWnd : public CVskWndImeFull {
public:
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == WM_CHAR)
            chars.push_back(static_cast<char>(wParam));
        if (msg == kDriveComposition) {
            SetCompositionAndComplete(driveText, driveComplete);
            if (destroyAfterDrive) // queued behind the posted characters
                PostMessageA(m_hWnd, kDestroyMe, 0, 0);
        }
        if (msg == kDestroyMe)
            DestroyWindow(m_hWnd);
        return CVskWndImeFull::OnMessage(msg, wParam, lParam);
    }
    void OnCompStrChange() override {
        ++changes;
        if (faultInChange)
            *g_null = 1;
        if (throwInChange)
            throw std::logic_error("hook failed");
        seen.push_back(Bytes(m_compStr));
    }
    void OnCompStrEnd() override { ++ends; }

    int Create() {
        return CVskWnd::Create(nullptr, "ime", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 0, 300, 120, nullptr,
                               nullptr, GetModuleHandleA(nullptr));
    }
    // The IME's SCS_SETSTR, then (optionally) CPS_COMPLETE. The wide entry is
    // used because the platform's narrow one halves the length it is given.
    void SetCompositionAndComplete(const std::wstring& text, bool complete) {
        HIMC ctx = ImmGetContext(m_hWnd);
        ImmSetOpenStatus(ctx, TRUE);
        std::wstring copy = text;
        ImmSetCompositionStringW(ctx, SCS_SETSTR, copy.empty() ? nullptr : &copy[0],
                                 static_cast<DWORD>(copy.size() * sizeof(wchar_t)), nullptr, 0);
        if (complete)
            ImmNotifyIME(ctx, NI_COMPOSITIONSTR, CPS_COMPLETE, 0);
        ImmReleaseContext(m_hWnd, ctx);
    }
    void Reset() {
        changes = ends = 0;
        chars.clear();
        seen.clear();
    }

    DWORD& Property() { return m_imeProperty; }
    HGLOBAL* Slots() { return m_candidateLists; }
    HKL& Layout() { return m_keyboardLayout; }
    DWORD& State() { return m_state; }
    unsigned int& Length() { return m_compLength; }
    void SetComposition(const std::string& text, const std::vector<unsigned char>& attrs) {
        m_compStr = CVskStr(text.data(), static_cast<int>(text.size()));
        m_compAttr.Resize(static_cast<unsigned int>(attrs.size()));
        for (size_t i = 0; i < attrs.size(); ++i)
            static_cast<unsigned char*>(m_compAttr.GetBuffer())[i] = attrs[i];
    }
    std::string Attrs() const {
        return std::string(static_cast<const char*>(m_compAttr.GetBuffer()), m_compAttr.GetSize());
    }

    int changes = 0;
    int ends = 0;
    bool faultInChange = false;
    bool throwInChange = false;
    std::wstring driveText;
    bool driveComplete = false;
    bool destroyAfterDrive = false;
    std::string chars;
    std::vector<std::string> seen;
};

class CImeTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, m_wnd.Create());
        m_wnd.DoEvent();
        m_wnd.Reset();
    }
    void TearDown() override {
        if (m_wnd.GetHandle() != nullptr) {
            HIMC ctx = ImmGetContext(m_wnd.GetHandle());
            ImmNotifyIME(ctx, NI_COMPOSITIONSTR, CPS_CANCEL, 0);
            ImmReleaseContext(m_wnd.GetHandle(), ctx);
            DestroyWindow(m_wnd.GetHandle());
        }
        MSG msg;
        while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    CImeWnd m_wnd;
};

// WM_IME_SETCONTEXT as the system's default handling passes it on to the
// IME's own window, seen by a hook on this thread.
std::vector<LPARAM> g_forwardedSetContext;
HWND g_hookedWindow = nullptr;
LRESULT CALLBACK SeeSetContext(int code, WPARAM wParam, LPARAM lParam) {
    const auto* cwp = reinterpret_cast<const CWPSTRUCT*>(lParam);
    if (code == HC_ACTION && cwp->message == WM_IME_SETCONTEXT && cwp->hwnd != g_hookedWindow)
        g_forwardedSetContext.push_back(cwp->lParam);
    return CallNextHookEx(nullptr, code, wParam, lParam);
}
std::vector<LPARAM> ForwardedSetContext(HWND hwnd, LPARAM lParam) {
    g_forwardedSetContext.clear();
    g_hookedWindow = hwnd;
    HHOOK hook = SetWindowsHookExA(WH_CALLWNDPROC, SeeSetContext, nullptr, GetCurrentThreadId());
    SendMessageA(hwnd, WM_IME_SETCONTEXT, TRUE, lParam);
    UnhookWindowsHookEx(hook);
    return g_forwardedSetContext;
}

} // namespace

// --- the real IME -----------------------------------------------------------

TEST_F(CImeTest, OnCreateReadsTheAtCaretPropertyAndLayoutOfTheImeLayout) {
    EXPECT_EQ(GetKeyboardLayout(0), m_wnd.Layout());
    EXPECT_TRUE(ImmIsIME(m_wnd.Layout()));
    EXPECT_EQ(0x00090000u, m_wnd.Property());
    EXPECT_EQ(0u, m_wnd.State());
}

TEST_F(CImeTest, SetContextHidesCompositionAndCandidateWindowsOnly) {
    const std::vector<LPARAM> forwarded = ForwardedSetContext(m_wnd.GetHandle(), static_cast<LPARAM>(0xC000000F));
    ASSERT_FALSE(forwarded.empty()) << "the system passed WM_IME_SETCONTEXT to no IME window";
    EXPECT_EQ(0x40000000, forwarded.back());
}

TEST_F(CImeTest, CompositionStartUpdateAndEndThroughTheIme) {
    m_wnd.SetCompositionAndComplete(L"\u6F22\u5B57", false); // 漢字
    EXPECT_EQ(CVskWndImeFull::kComposing, m_wnd.State() & CVskWndImeFull::kComposing);
    EXPECT_EQ(std::string("\x8A\xBF\x8E\x9A"), Bytes(m_wnd.GetCompStr()));
    EXPECT_EQ(4u, m_wnd.Length());
    EXPECT_EQ(std::string(4, '\0'), m_wnd.Attrs()); // the platform's IME marks all as input
    ASSERT_GE(m_wnd.seen.size(), 2u);
    EXPECT_EQ("", m_wnd.seen.front()); // the start
    EXPECT_EQ(0, m_wnd.ends);
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    EXPECT_TRUE(m_wnd.GetCompStrWithAttr(clauses, attrs));
    ASSERT_EQ(1u, clauses.size());
    EXPECT_EQ(std::string("\x8A\xBF\x8E\x9A"), Bytes(clauses[0]));
    EXPECT_EQ(std::vector<int>{0}, attrs);

    HIMC ctx = ImmGetContext(m_wnd.GetHandle());
    ImmNotifyIME(ctx, NI_COMPOSITIONSTR, CPS_COMPLETE, 0);
    ImmReleaseContext(m_wnd.GetHandle(), ctx);
    EXPECT_EQ(1, m_wnd.ends);
    EXPECT_EQ(0u, m_wnd.State() & CVskWndImeFull::kComposing);
    EXPECT_EQ(0, m_wnd.GetCompStr().Length());
    EXPECT_EQ(0u, m_wnd.Length());
    m_wnd.DoEvent();
    EXPECT_EQ(std::string("\x8A\xBF\x8E\x9A"), m_wnd.chars); // lead, trail, lead, trail
}

TEST_F(CImeTest, ResultAbPostsWmCharAThenBAndLeavesAnEmptyComposition) {
    m_wnd.SetCompositionAndComplete(L"ab", true);
    m_wnd.DoEvent();
    EXPECT_EQ("ab", m_wnd.chars);
    // The result message alone, once more: one change, two characters.
    m_wnd.Reset();
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITION, 0, GCS_RESULTSTR));
    EXPECT_EQ(1, m_wnd.changes);
    EXPECT_EQ(0, m_wnd.GetCompStr().Length());
    MSG msg;
    std::string posted;
    while (PeekMessageA(&msg, m_wnd.GetHandle(), WM_CHAR, WM_CHAR, PM_REMOVE))
        posted += static_cast<char>(msg.wParam);
    EXPECT_EQ("ab", posted);
}

TEST_F(CImeTest, CompositionWithoutTheAttributeFlagLeavesTheAttributesAsTheyWere) {
    m_wnd.SetCompositionAndComplete(L"\u6F22", false);
    m_wnd.SetComposition("zz", {7, 7});
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITION, 0, GCS_COMPSTR));
    EXPECT_EQ(std::string("\x8A\xBF"), Bytes(m_wnd.GetCompStr()));
    EXPECT_EQ(2u, m_wnd.Length());
    EXPECT_EQ(std::string("\x07\x07"), m_wnd.Attrs());
    // With the flag, they are read again.
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITION, 0, GCS_COMPSTR | GCS_COMPATTR));
    EXPECT_EQ(std::string(2, '\0'), m_wnd.Attrs());
}

TEST_F(CImeTest, TrailByte5CResultIsPostedAsItsTwoBytes) {
    m_wnd.SetCompositionAndComplete(L"\u8868", true); // 表
    m_wnd.DoEvent();
    EXPECT_EQ(std::string("\x95\x5C"), m_wnd.chars);
}

TEST_F(CImeTest, AccessViolationInAHandlerReachesTheLoopCallerAndTheWindowGoesOn) {
    vsktest::CTempDir dir;
    const std::string log = dir.File("ime.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    m_wnd.faultInChange = true;
    m_wnd.driveText = L"\u6F22";
    PostMessageA(m_wnd.GetHandle(), kDriveComposition, 0, 0);
    std::string caught = "nothing";
    try {
        m_wnd.DoMessageLoop();
    } catch (const std::runtime_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("\x97\x5C\x8A\xFA\x82\xB9\x82\xCA\x97\xE1\x8A\x4F\x82\xAA\x94\xAD\x90\xB6\x82\xB5\x82\xDC\x82\xB5\x82\xBD",
              caught);
    const std::string text = vsktest::ReadFileBytes(log);
    EXPECT_NE(std::string::npos, text.find("VskWndImeFull.cpp("));
    EXPECT_NE(std::string::npos, text.find("): CVskWndImeFull::OnMessage: \x97\x5C\x8A\xFA"));
    EXPECT_NE(std::string::npos, text.find(" Name     : Access Violation"));
    EXPECT_NE(std::string::npos, text.find(" Function : CVskWndImeFull::OnMessage()"));
    // The same window handles a second composition.
    ASSERT_NE(nullptr, m_wnd.GetHandle());
    m_wnd.faultInChange = false;
    m_wnd.Reset();
    m_wnd.driveText = L"\u5B57";
    m_wnd.driveComplete = true;
    m_wnd.destroyAfterDrive = true;
    PostMessageA(m_wnd.GetHandle(), kDriveComposition, 0, 0);
    EXPECT_EQ(0, m_wnd.DoMessageLoop());
    EXPECT_GT(m_wnd.changes, 0);
    EXPECT_EQ(1, m_wnd.ends);
    EXPECT_EQ(std::string("\x8E\x9A"), m_wnd.chars.substr(0, 2));
    FileLogger_SetLogFileName(nullptr);
}

TEST_F(CImeTest, OnMessageRunsUnderTheFunctionTrace) {
    vsktest::CTempDir dir;
    const std::string log = dir.File("trace.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    _FileLogger_IsAutoFuncNameLogger = true;
    SendMessageA(m_wnd.GetHandle(), WM_IME_CONTROL, 0, 0);
    _FileLogger_IsAutoFuncNameLogger = false;
    FileLogger_SetLogFileName(nullptr);
    const std::vector<std::string> lines = vsktest::SplitLines(vsktest::ReadFileBytes(log));
    ASSERT_EQ(2u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("VskWndImeFull.cpp("));
    EXPECT_NE(std::string::npos, lines[0].find("): CVskWndImeFull::OnMessage: <"));
    EXPECT_NE(std::string::npos, lines[0].find("> : >> START"));
    EXPECT_NE(std::string::npos, lines[1].find("> : << END"));
}

TEST_F(CImeTest, CppExceptionOfAHookReachesDoEventCallerUnchanged) {
    m_wnd.throwInChange = true;
    m_wnd.driveText = L"a";
    PostMessageA(m_wnd.GetHandle(), kDriveComposition, 0, 0);
    std::string caught = "nothing";
    try {
        m_wnd.DoEvent();
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("hook failed", caught);
}

TEST_F(CImeTest, SetOpenStatusWhileSwitchedOffClearsTheLayoutNotifiedByMessageBecauseThePlatformSendsNone) {
    ASSERT_TRUE(m_wnd.ImeOpenClose(false));
    HGLOBAL held = GlobalAlloc(GMEM_ZEROINIT, 16);
    m_wnd.Slots()[3] = held;
    m_wnd.State() = 3;
    m_wnd.Length() = 9;
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_SETOPENSTATUS, 0));
    EXPECT_EQ(nullptr, m_wnd.Layout());
    EXPECT_EQ(nullptr, m_wnd.Slots()[3]);
    EXPECT_EQ(0u, m_wnd.State());
    EXPECT_EQ(0u, m_wnd.Length());
    // The next language change stores a fresh layout.
    SendMessageA(m_wnd.GetHandle(), WM_INPUTLANGCHANGE, 0, reinterpret_cast<LPARAM>(GetKeyboardLayout(0)));
    EXPECT_EQ(GetKeyboardLayout(0), m_wnd.Layout());
}

TEST_F(CImeTest, SetOpenStatusWhileSwitchedOnKeepsEverything) {
    ASSERT_TRUE(m_wnd.ImeOpenClose(true));
    m_wnd.State() = 2;
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_SETOPENSTATUS, 0));
    EXPECT_EQ(GetKeyboardLayout(0), m_wnd.Layout());
    EXPECT_EQ(2u, m_wnd.State());
}

TEST_F(CImeTest, ImeOpenCloseSetsTheContextsOpenStatus) {
    HIMC ctx = ImmGetContext(m_wnd.GetHandle());
    EXPECT_TRUE(m_wnd.ImeOpenClose(true));
    EXPECT_TRUE(ImmGetOpenStatus(ctx));
    EXPECT_TRUE(m_wnd.ImeOpenClose(false));
    EXPECT_FALSE(ImmGetOpenStatus(ctx));
    ImmReleaseContext(m_wnd.GetHandle(), ctx);
}

TEST_F(CImeTest, RestoreImeUIKeepsNoData) {
    m_wnd.SetCompositionAndComplete(L"\u6F22", false);
    const std::string before = Bytes(m_wnd.GetCompStr());
    const int changes = m_wnd.changes;
    m_wnd.RestoreImeUI();
    EXPECT_EQ(before, Bytes(m_wnd.GetCompStr()));
    EXPECT_EQ(changes, m_wnd.changes);
}

TEST_F(CImeTest, ImeControlAndCompositionFullReturnZero) {
    ASSERT_TRUE(m_wnd.ImeOpenClose(true));
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_CONTROL, 0x0005 /* get open status */, 0));
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITIONFULL, 0, 0));
}

TEST_F(CImeTest, KeyDownMessagesReturnZero) {
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_KEYDOWN, VK_F10, 0));
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_KEYDOWN, 'A', 0));
    MSG msg;
    EXPECT_FALSE(PeekMessageA(&msg, m_wnd.GetHandle(), WM_CHAR, WM_CHAR, PM_NOREMOVE));
}

TEST_F(CImeTest, ImeUINotifyHandlesFourCommandsOnly) {
    EXPECT_TRUE(m_wnd.ImeUINotify(IMN_CHANGECANDIDATE, 0));
    EXPECT_TRUE(m_wnd.ImeUINotify(IMN_CLOSECANDIDATE, 0));
    EXPECT_TRUE(m_wnd.ImeUINotify(IMN_OPENCANDIDATE, 0));
    EXPECT_TRUE(m_wnd.ImeUINotify(IMN_SETOPENSTATUS, 0));
    EXPECT_FALSE(m_wnd.ImeUINotify(IMN_CLOSESTATUSWINDOW, 0));
    EXPECT_FALSE(m_wnd.ImeUINotify(IMN_SETCOMPOSITIONWINDOW, 0));
}

// --- states the platform cannot produce -------------------------------------

TEST_F(CImeTest, NonImeLayoutPassesImeMessagesOnDrivenByMessagesBecauseThePlatformHasNoNonImeLayout) {
    m_wnd.Property() = 0;
    SendMessageA(m_wnd.GetHandle(), WM_IME_STARTCOMPOSITION, 0, 0);
    SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITION, 0, GCS_COMPSTR);
    SendMessageA(m_wnd.GetHandle(), WM_IME_ENDCOMPOSITION, 0, 0);
    SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_OPENCANDIDATE, 0);
    EXPECT_EQ(0, m_wnd.changes);
    EXPECT_EQ(0, m_wnd.ends);
    EXPECT_EQ(0u, m_wnd.State());
    const std::vector<LPARAM> forwarded = ForwardedSetContext(m_wnd.GetHandle(), static_cast<LPARAM>(0xC000000F));
    ASSERT_FALSE(forwarded.empty());
    EXPECT_EQ(static_cast<LPARAM>(0xC000000F), forwarded.back());
}

TEST_F(CImeTest, SpecialUiPassesSetContextUnchangedDrivenByMessagesBecauseThePlatformImeHasNoSpecialUi) {
    m_wnd.Property() = 0x00030000;
    const std::vector<LPARAM> forwarded = ForwardedSetContext(m_wnd.GetHandle(), static_cast<LPARAM>(0xC000000F));
    ASSERT_FALSE(forwarded.empty());
    EXPECT_EQ(static_cast<LPARAM>(0xC000000F), forwarded.back());
    SendMessageA(m_wnd.GetHandle(), WM_IME_STARTCOMPOSITION, 0, 0);
    EXPECT_EQ(0, m_wnd.changes);
}

TEST_F(CImeTest, CandidateOpenStopsAtAnIndexWithoutAListDrivenByMessagesBecauseThePlatformHasNoCandidates) {
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_OPENCANDIDATE, 1));
    EXPECT_EQ(nullptr, m_wnd.Slots()[0]);
    EXPECT_EQ(0u, m_wnd.State() & CVskWndImeFull::kCandidatesOpen);
}

TEST_F(CImeTest, CandidateOpenWithNoIndexPassesAllAndSetsTheOpenFlagDrivenByMessagesBecauseThePlatformHasNoCandidates) {
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_OPENCANDIDATE, 0));
    EXPECT_EQ(CVskWndImeFull::kCandidatesOpen, m_wnd.State() & CVskWndImeFull::kCandidatesOpen);
}

TEST_F(CImeTest, CandidateCloseFreesTheMaskedListsDrivenByMessagesBecauseThePlatformHasNoCandidates) {
    m_wnd.Slots()[0] = GlobalAlloc(GMEM_ZEROINIT, 32);
    HGLOBAL kept = GlobalAlloc(GMEM_ZEROINIT, 32);
    m_wnd.Slots()[31] = kept;
    m_wnd.State() = CVskWndImeFull::kCandidatesOpen | CVskWndImeFull::kComposing;
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_CLOSECANDIDATE, 1));
    EXPECT_EQ(nullptr, m_wnd.Slots()[0]);
    EXPECT_EQ(kept, m_wnd.Slots()[31]);
    EXPECT_EQ(CVskWndImeFull::kComposing, m_wnd.State());
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_CLOSECANDIDATE, static_cast<LPARAM>(0x80000000)));
    EXPECT_EQ(nullptr, m_wnd.Slots()[31]);
}

TEST_F(CImeTest, CandidateChangeWithoutAListLeavesNoLockedBlockDrivenByMessagesBecauseThePlatformHasNoCandidates) {
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_NOTIFY, IMN_CHANGECANDIDATE, 6)); // index 1 only
    EXPECT_EQ(nullptr, m_wnd.Slots()[1]); // reallocating nothing gives nothing to lock
    EXPECT_EQ(nullptr, m_wnd.Slots()[2]);
}

TEST_F(CImeTest, ClearDataFreesEverySlotAndClearsFlagsAndLength) {
    for (int i = 0; i < CVskWndImeFull::kCandidateSlots; i += 5)
        m_wnd.Slots()[i] = GlobalAlloc(GMEM_ZEROINIT, 8);
    m_wnd.State() = 3;
    m_wnd.Length() = 4;
    m_wnd.ImeUIClearData();
    for (int i = 0; i < CVskWndImeFull::kCandidateSlots; ++i)
        EXPECT_EQ(nullptr, m_wnd.Slots()[i]) << i;
    EXPECT_EQ(0u, m_wnd.State());
    EXPECT_EQ(0u, m_wnd.Length());
    EXPECT_EQ(GetKeyboardLayout(0), m_wnd.Layout());
}

TEST_F(CImeTest, InputLangChangeFromAnOwnUiImeDropsTheListsDrivenByMessageBecauseThePlatformHasOneLayout) {
    m_wnd.Slots()[7] = GlobalAlloc(GMEM_ZEROINIT, 8);
    m_wnd.State() = 2;
    m_wnd.Layout() = GetKeyboardLayout(0);
    SendMessageA(m_wnd.GetHandle(), WM_INPUTLANGCHANGE, 0, reinterpret_cast<LPARAM>(GetKeyboardLayout(0)));
    EXPECT_EQ(nullptr, m_wnd.Slots()[7]);
    EXPECT_EQ(0u, m_wnd.State());
    EXPECT_EQ(0x00090000u, m_wnd.Property());
}

TEST_F(CImeTest, InputLangChangeFromAnImeWithoutOwnUiKeepsTheListsDrivenByMessageBecauseThePlatformHasOneLayout) {
    HGLOBAL held = GlobalAlloc(GMEM_ZEROINIT, 8);
    m_wnd.Slots()[7] = held;
    m_wnd.Property() = 0; // the stored layout's IME works outside the caret
    SendMessageA(m_wnd.GetHandle(), WM_INPUTLANGCHANGE, 0, reinterpret_cast<LPARAM>(GetKeyboardLayout(0)));
    EXPECT_EQ(held, m_wnd.Slots()[7]);
    EXPECT_EQ(GetKeyboardLayout(0), m_wnd.Layout());
    m_wnd.ImeUIClearData();
}

// --- clauses (fields set directly: the platform's IME marks every byte as input)

TEST(CVskWndImeFullClauses, TwoDoubleByteCharactersWithAttributes1122GiveTwoClausesSetDirectly) {
    CImeWnd wnd;
    wnd.SetComposition("\x8A\xBF\x8E\x9A", {1, 1, 2, 2});
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    ASSERT_EQ(2u, clauses.size());
    EXPECT_EQ(std::string("\x8A\xBF"), Bytes(clauses[0]));
    EXPECT_EQ(std::string("\x8E\x9A"), Bytes(clauses[1]));
    EXPECT_EQ((std::vector<int>{1, 2}), attrs);
}

TEST(CVskWndImeFullClauses, AttributesAbove3CountAsInputSetDirectly) {
    CImeWnd wnd;
    wnd.SetComposition("abc", {0, 5, 5});
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    ASSERT_EQ(1u, clauses.size());
    EXPECT_EQ("abc", Bytes(clauses[0]));
    EXPECT_EQ(std::vector<int>{0}, attrs);
}

TEST(CVskWndImeFullClauses, FirstAttributeAbove3GivesAFirstEmptyClauseWithTheRawValueSetDirectly) {
    CImeWnd wnd;
    wnd.SetComposition("abc", {5, 0, 3});
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    ASSERT_EQ(3u, clauses.size());
    EXPECT_EQ("", Bytes(clauses[0]));
    EXPECT_EQ("ab", Bytes(clauses[1]));
    EXPECT_EQ("c", Bytes(clauses[2]));
    EXPECT_EQ((std::vector<int>{5, 0, 3}), attrs);
}

TEST(CVskWndImeFullClauses, TrailByte5CStaysInsideItsCharacterSetDirectly) {
    CImeWnd wnd;
    wnd.SetComposition("\x95\x5C\x5C", {2, 1, 1}); // 表 then a backslash
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    wnd.GetCompStrWithAttr(clauses, attrs);
    ASSERT_EQ(2u, clauses.size());
    EXPECT_EQ(std::string("\x95\x5C"), Bytes(clauses[0]));
    EXPECT_EQ("\\", Bytes(clauses[1]));
    EXPECT_EQ((std::vector<int>{2, 1}), attrs);
}

TEST(CVskWndImeFullClauses, BadInputLengthAndAttributeCountDisagreeGivesNothing) {
    CImeWnd wnd;
    wnd.SetComposition("abc", {1, 1});
    std::vector<CVskStr> clauses{CVskStr("old")};
    std::vector<int> attrs{9};
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    EXPECT_TRUE(clauses.empty());
    EXPECT_TRUE(attrs.empty());
    wnd.SetComposition("ab", {1, 1, 1, 1});
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    EXPECT_TRUE(clauses.empty());
}

TEST(CVskWndImeFullClauses, EmptyStringOrNoBufferGivesNothing) {
    CImeWnd fresh;
    std::vector<CVskStr> clauses{CVskStr("old")};
    std::vector<int> attrs{9};
    EXPECT_TRUE(fresh.GetCompStrWithAttr(clauses, attrs));
    EXPECT_TRUE(clauses.empty());
    EXPECT_TRUE(attrs.empty());
    CImeWnd wnd;
    wnd.SetComposition("", {});
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    EXPECT_TRUE(clauses.empty());
}

TEST(CVskWndImeFullClauses, ChoiceBadInputLoneLeadByteAtTheEndIsACharacterOfItsOwn) {
    CImeWnd wnd;
    wnd.SetComposition("a\x95", {0, 1});
    std::vector<CVskStr> clauses;
    std::vector<int> attrs;
    EXPECT_TRUE(wnd.GetCompStrWithAttr(clauses, attrs));
    ASSERT_EQ(2u, clauses.size());
    EXPECT_EQ("a", Bytes(clauses[0]));
    EXPECT_EQ(std::string("\x95"), Bytes(clauses[1]));
    EXPECT_EQ((std::vector<int>{0, 1}), attrs);
}

// --- bad input ---------------------------------------------------------------

TEST_F(CImeTest, BadInputEmptyResultPostsNothingAndChangesOnce) {
    EXPECT_EQ(0, SendMessageA(m_wnd.GetHandle(), WM_IME_COMPOSITION, 0, GCS_RESULTSTR));
    EXPECT_EQ(1, m_wnd.changes);
    MSG msg;
    EXPECT_FALSE(PeekMessageA(&msg, m_wnd.GetHandle(), WM_CHAR, WM_CHAR, PM_NOREMOVE));
}

TEST_F(CImeTest, BadInputResultOf64KiBIsPostedByteByByte) {
    const std::wstring text(65536, L'x');
    m_wnd.SetCompositionAndComplete(text, true);
    MSG msg;
    size_t count = 0;
    bool allX = true;
    while (PeekMessageA(&msg, m_wnd.GetHandle(), WM_CHAR, WM_CHAR, PM_REMOVE)) {
        ++count;
        allX = allX && msg.wParam == 'x' && msg.lParam == 0;
    }
    EXPECT_EQ(65536u, count);
    EXPECT_TRUE(allX);
    EXPECT_EQ(0, m_wnd.GetCompStr().Length());
}

TEST(CVskWndImeFullBadInput, CallsWithoutAWindowDoNothing) {
    CImeWnd wnd;
    EXPECT_FALSE(wnd.ImeOpenClose(true));
    wnd.GetResultStr();
    wnd.GetCompositionStr(GCS_COMPSTR | GCS_COMPATTR);
    wnd.RestoreImeUI();
    wnd.ImeUIOpenCandidate(1);
    wnd.ImeUIChangeCandidate(1);
    EXPECT_EQ(0, wnd.GetCompStr().Length());
    EXPECT_EQ(0u, wnd.Length());
    EXPECT_EQ(0u, wnd.State());
}

TEST(CVskWndImeFullBadInput, ConstructorStartsEmpty) {
    CImeWnd wnd;
    EXPECT_EQ(0u, wnd.Property());
    EXPECT_EQ(nullptr, wnd.Layout());
    for (int i = 0; i < CVskWndImeFull::kCandidateSlots; ++i)
        EXPECT_EQ(nullptr, wnd.Slots()[i]);
    EXPECT_EQ(0u, wnd.State());
    EXPECT_EQ(0u, wnd.Length());
    EXPECT_EQ("", wnd.Attrs());
}
