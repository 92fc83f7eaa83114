// CommFuncBCB.cpp - host-framework helpers and regular expressions.
#include "framework/CommFuncBCB.h"

#include "diagnostics/VskDebug.h"
#include "foundation/Vskstr.h"
#include "platform/CallbackBoundary.h"

#include <pcre2posix.h>

#include <cstring>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace vsk::bcb {
namespace {
void DestroyConvTable();
} // namespace
} // namespace vsk::bcb

VSK_DEFINE_UNIT(Commfuncbcb, nullptr, vsk::bcb::DestroyConvTable)

namespace vsk::bcb {

namespace {

// The engine's "no match" result.
constexpr int kNoMatch = 17;
static_assert(REG_NOMATCH == kNoMatch, "the POSIX interface's no-match code must be 17");

// Size of the buffer that receives the engine's error text.
constexpr std::size_t kErrorBufferSize = 1024;

// How many match records Match asks for.
constexpr std::size_t kMatchRecords = 3;

const char kCompileFailed[] = "CReg::Compile : パターンのコンパイルに失敗\r\n%s";
const char kNotCompiled[] = "CReg::Match : パターンが未コンパイルです";
const char kMatchFailed[] = "CReg::Match : パターンマッチの実行に失敗\r\n%s";

[[noreturn]] void ThrowEngineError(const char* format, int code, const regex_t* regex) {
    char text[kErrorBufferSize];
    std::memset(text, 0, sizeof text);
    regerror(code, regex, text, sizeof text);
    vskstr::CVskStr message;
    message.Format(format, text);
    throw std::runtime_error(message.c_str());
}

// The wild-card conversion table: the escape pairs of the regular-expression
// metacharacters and the two wild-card pairs, made on first use and kept
// until the unit's exit routine destroys it (a later use makes it again).
struct CConvTable {
    struct CPair {
        vskstr::CVskStr from;
        vskstr::CVskStr to;
    };
    CPair escapes[12] = {
        {"\\", "\\\\"}, {".", "\\."}, {"+a", "\\+a"}, {"(", "\\("},  {")", "\\)"},  {"[", "\\["},
        {"]", "\\]"},   {"^", "\\^"}, {"$", "\\$"},   {"|", "\\|"}, {"{", "\\{"}, {"-", "\\-"},
    };
    CPair wildcards[2] = {{"?", "."}, {"*", ".*"}};
};

std::mutex g_convTableLock;
const CConvTable* g_convTable = nullptr;

const CConvTable& ConvTable() {
    std::lock_guard<std::mutex> lock(g_convTableLock);
    if (!g_convTable)
        g_convTable = new CConvTable();
    return *g_convTable;
}

void DestroyConvTable() {
    std::lock_guard<std::mutex> lock(g_convTableLock);
    delete g_convTable;
    g_convTable = nullptr;
}

} // namespace

static_assert(sizeof(regex_t) == 6 * sizeof(void*), "CReg's record storage must match regex_t");
static_assert(alignof(regex_t) <= alignof(void*), "CReg's record storage is aligned for pointers");

#define VSK_REGEX(record) (reinterpret_cast<regex_t*>(&(record)))
#define VSK_CREGEX(record) (reinterpret_cast<const regex_t*>(&(record)))

CReg::CReg() : m_regex(), m_compiled(false) {}

CReg::CReg(System::AnsiString pattern) : m_regex(), m_compiled(false) {
    Compile(pattern);
}

CReg::CReg(const CReg& other) : m_regex(other.m_regex), m_compiled(other.m_compiled) {
    other.m_compiled = false;
}

CReg& CReg::operator=(const CReg& other) {
    if (this == &other) {
        return *this;
    }
    Free();
    m_regex = other.m_regex;
    m_compiled = other.m_compiled;
    other.m_compiled = false;
    return *this;
}

CReg::~CReg() {
    Free();
}

void CReg::Compile(System::AnsiString pattern) {
    Free();
    const int result = regcomp(VSK_REGEX(m_regex), pattern.c_str(), 0);
    if (result != 0) {
        ThrowEngineError(kCompileFailed, result, VSK_CREGEX(m_regex));
    }
    m_compiled = true;
}

void CReg::Free() {
    if (m_compiled) {
        regfree(VSK_REGEX(m_regex));
        m_compiled = false;
    }
}

bool CReg::Match(System::AnsiString text) const {
    if (!m_compiled) {
        throw std::runtime_error(kNotCompiled);
    }
    regmatch_t matches[kMatchRecords];
    const int result = regexec(VSK_CREGEX(m_regex), text.c_str(), kMatchRecords, matches, 0);
    if (result == kNoMatch) {
        return false;
    }
    if (result != 0) {
        ThrowEngineError(kMatchFailed, result, VSK_CREGEX(m_regex));
    }
    return matches[0].rm_so == 0 && matches[0].rm_eo == text.Length();
}

System::AnsiString CReg::ConvToPerl(System::AnsiString wildcard) {
    const CConvTable& table = ConvTable();
    vskstr::CVskStr text(wildcard);
    // The escape passes search for and put back the same text: they leave
    // every metacharacter as it is, so a wild card may carry its own
    // regular-expression syntax ("x+(1)" stays "x+(1)").
    for (const CConvTable::CPair& pair : table.escapes) {
        text.ReplaceAll(pair.from, pair.from);
    }
    for (const CConvTable::CPair& pair : table.wildcards) {
        text.ReplaceAll(pair.from, pair.to);
    }
    return text;
}

#undef VSK_REGEX
#undef VSK_CREGEX

} // namespace vsk::bcb

namespace vsk::bcb {

namespace {

// The source name that failure reports of this unit carry.
const char kSourceName[] = "CommFuncBCB";

const char kNodeNull[] = "node==NULL";
const char kIndexNegative[] = "index<0";
const char kIndexPastParentCount[] = "index>=node->Parent->Count";
const char kIndexTooLarge[] = "引数indexが大きすぎる";
const char kNewIndexNegative[] = "newIndex<0";
const char kNewIndexPastCount[] = "newIndex>=maxCount";

// The check box's width that the check list box adds to the text extent.
constexpr int kCheckBoxWidth = 20;

// Reports a violated precondition to the log, then throws it.
[[noreturn]] void Fail(int line, const char* function, const char* message) {
    vsk::detail::ReportFailure(kSourceName, line, function, "%s", message);
    throw std::invalid_argument(message);
}

// The state of one dashed line while the system walks it.
struct CDashedLine {
    Graphics::TCanvas* canvas;
    long long counter = 0;
    long long gap;
    long long dash;
    bool dashOpen = false;
    int startX = 0;
    int startY = 0;
    int lastX = 0;
    int lastY = 0;
    // The DrawLineDDA call that runs LineDDA: an exception of the canvas is
    // kept there until LineDDA has returned.
    const vsk::detail::CSystemCallScope* call = nullptr;

    void DrawOpenDashTo(int x, int y) {
        canvas->MoveTo(startX, startY);
        canvas->LineTo(x, y);
        dashOpen = false;
    }

    void Visit(int x, int y) {
        if (counter == 0) {
            // A dash still open here (no gap, or no dash) is not drawn: the
            // new one takes its place, so only the last period shows.
            dashOpen = true;
            startX = x;
            startY = y;
        } else if (counter == dash && dashOpen) {
            DrawOpenDashTo(x, y);
        }
        lastX = x;
        lastY = y;
        counter = (counter + 1) % (gap + dash);
    }
};

// LineDDA's per-point function: a system frame, so nothing may leave it by
// exception. After a failure the remaining points are ignored.
void CALLBACK VisitDashPoint(int x, int y, LPARAM data) {
    auto* line = reinterpret_cast<CDashedLine*>(data);
    if (!line->call->Failed())
        vsk::detail::RunAtBoundary(VSK_BOUNDARY_SITE("vsk::bcb::DrawLineDDA"), nullptr, [&] { line->Visit(x, y); });
}

HWND ListBoxWindowOrThrow(Stdctrls::TCustomListBox* listBox) {
    if (!listBox)
        throw std::invalid_argument("listBox==NULL");
    return listBox->Handle;
}

// The widest item text of the list box in pixels; 0 without items. The
// texts are read straight from the window into one buffer that grows to the
// longest of them: no string is made per item, and the buffer's size comes
// from the item's length in UTF-16 units, which the window knows without
// converting the text (no code page needs more than 4 bytes per unit).
int WidestItemText(Stdctrls::TCustomListBox* listBox) {
    HDC dc = listBox->Canvas->Handle;
    HWND window = listBox->Handle;
    const int count = listBox->Items->Count;
    constexpr LRESULT kBytesPerUnit = 4;
    std::vector<char> text(256);
    int widest = 0;
    for (int i = 0; i < count; ++i) {
        const LRESULT units = SendMessageW(window, LB_GETTEXTLEN, static_cast<WPARAM>(i), 0);
        if (units < 0)
            throw Sysutils::Exception("list index out of bounds");
        if (static_cast<std::size_t>(units * kBytesPerUnit) >= text.size())
            text.resize(static_cast<std::size_t>(units * kBytesPerUnit) + 1);
        const LRESULT length =
            units == 0 ? 0
                       : SendMessageA(window, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text.data()));
        if (length < 0)
            throw Sysutils::Exception("list index out of bounds");
        SIZE size;
        if (GetTextExtentPoint32A(dc, text.data(), static_cast<int>(length), &size) && size.cx > widest)
            widest = size.cx;
    }
    return widest;
}

} // namespace

void DrawLineDDA(Graphics::TCanvas* canvas, int x1, int y1, int x2, int y2, int gap, int dash) {
    if (!canvas)
        throw std::invalid_argument("canvas==NULL");
    if (static_cast<long long>(gap) + dash == 0)
        throw std::invalid_argument("gap+dash==0");
    vsk::detail::CSystemCallScope call;
    CDashedLine line;
    line.canvas = canvas;
    line.gap = gap;
    line.dash = dash;
    line.call = &call;
    LineDDA(x1, y1, x2, y2, &VisitDashPoint, reinterpret_cast<LPARAM>(&line));
    call.RethrowError();
    if (line.dashOpen)
        line.DrawOpenDashTo(line.lastX, line.lastY);
}

Types::TRect ClientToScreen(Controls::TWinControl* control, const Types::TRect& rect) {
    if (!control)
        return rect;
    return Types::TRect(control->ClientToScreen(rect.TopLeft()), control->ClientToScreen(rect.BottomRight()));
}

Types::TRect ScreenToClient(Controls::TWinControl* control, const Types::TRect& rect) {
    if (!control)
        return rect;
    return Types::TRect(control->ScreenToClient(rect.TopLeft()), control->ScreenToClient(rect.BottomRight()));
}

void SetHorizontalExtent(Stdctrls::TCustomListBox* listBox, int extent) {
    SendMessageA(ListBoxWindowOrThrow(listBox), LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(extent), 0);
}

void SetHorizontalExtentAuto(Stdctrls::TCustomListBox* listBox) {
    ListBoxWindowOrThrow(listBox);
    SetHorizontalExtent(listBox, WidestItemText(listBox));
}

void SetHorizontalExtentAuto(Checklst::TCheckListBox* listBox) {
    ListBoxWindowOrThrow(listBox);
    SetHorizontalExtent(listBox, WidestItemText(listBox) + kCheckBoxWidth);
}

int GetSiblingNodeCount(Comctrls::TTreeNode* node) {
    if (!node)
        Fail(431, "GetSiblingNodeCount", kNodeNull);
    if (Comctrls::TTreeNode* parent = node->Parent)
        return parent->Count;
    int count = node->Index + 1;
    for (Comctrls::TTreeNode* next = node->getNextSibling(); next; next = next->getNextSibling())
        ++count;
    return count;
}

Comctrls::TTreeNode* GetSiblingNode(Comctrls::TTreeNode* node, int index) {
    if (!node)
        Fail(467, "GetSiblingNode", kNodeNull);
    if (index < 0)
        Fail(468, "GetSiblingNode", kIndexNegative);
    const int ownIndex = node->Index;
    if (index == ownIndex)
        return node;
    if (Comctrls::TTreeNode* parent = node->Parent) {
        if (index >= parent->Count)
            Fail(477, "GetSiblingNode", kIndexPastParentCount);
        return parent->Item[index];
    }
    // On the top level the siblings are counted from the node itself; no
    // index is read again, the distance gives it.
    Comctrls::TTreeNode* sibling = node;
    if (index > ownIndex) {
        for (int i = ownIndex; i < index; ++i) {
            sibling = sibling->getNextSibling();
            if (!sibling)
                Fail(500, "GetSiblingNode", kIndexTooLarge);
        }
    } else {
        for (int i = ownIndex; i > index; --i)
            sibling = sibling->getPrevSibling();
    }
    return sibling;
}

void ChangeNodeIndex(Comctrls::TTreeNode* node, int newIndex) {
    if (!node)
        Fail(525, "ChangeNodeIndex", kNodeNull);
    if (newIndex < 0)
        Fail(526, "ChangeNodeIndex", kNewIndexNegative);
    const int ownIndex = node->Index;
    if (newIndex == ownIndex)
        return;
    const int maxCount = GetSiblingNodeCount(node);
    if (newIndex >= maxCount)
        Fail(530, "ChangeNodeIndex", kNewIndexPastCount);
    if (newIndex >= maxCount - 1) {
        node->MoveTo(node->Parent, Comctrls::naAddChild);
        return;
    }
    // Above its own place the node's removal shifts the others down by one.
    const int target = newIndex > ownIndex ? newIndex + 1 : newIndex;
    node->MoveTo(GetSiblingNode(node, target), Comctrls::naInsert);
}

} // namespace vsk::bcb
