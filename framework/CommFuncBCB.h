// CommFuncBCB.h - host-framework helpers and regular expressions.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "hostfw/HostFramework.h"

VSK_DECLARE_UNIT(Commfuncbcb)

namespace vsk::bcb {

/// Draws a dashed line from (x1, y1) towards (x2, y2) on `canvas` with its
/// pen. The system's LineDDA visits the points of the line (the end point
/// is not visited); the points are counted in periods of `gap` + `dash`: the
/// point at count 0 starts a dash, which is drawn with MoveTo/LineTo to the
/// point at count `dash` (that point itself stays blank, as LineTo leaves the
/// end pixel), and the other points of the period stay blank. A dash still
/// open at count 0 of the next period is not drawn: the new dash replaces
/// it, so with `gap` 0 (or `dash` 0) only the last period's dash is drawn.
/// One still open after the walk is drawn to the last point.
///
/// Example: gap 2, dash 3 from (0,5) to (10,5) paints x = 0,1,2 and 5,6,7;
///          gap 0, dash 3 from (0,5) to (12,5) paints x = 9,10 only.
/// Negative `gap` or `dash` are used as given (the count runs modulo their
/// sum, as C++ computes it; a negative `dash` never closes a dash early).
///
/// Errors: std::invalid_argument "canvas==NULL" for a null canvas and
/// "gap+dash==0" for a period of 0, before anything is drawn (no log record).
/// An exception of the canvas (a canvas without a device context throws
/// Sysutils::Exception) is kept while the system walks the line, the rest of
/// the walk draws nothing, and the exception is thrown on after LineDDA has
/// returned; segments drawn before it stay drawn. DrawLineDDA throws it
/// itself, also inside a window handler that a message loop runs: it is the
/// innermost library call that entered the system, so the loop sees only
/// what leaves the handler.
///
/// Example: DrawLineDDA(canvas, 0, 0, 10, 0, 2, 3) draws (0..2, 0) and
/// (5..7, 0) and leaves (3, 4, 8, 9) blank.
///
/// Thread safety: as the canvas; one thread draws on a canvas at a time.
VSK_API void DrawLineDDA(Graphics::TCanvas* canvas, int x1, int y1, int x2, int y2, int gap, int dash);

/// The rectangle whose corners are the control's ClientToScreen of the
/// corners of `rect`; `rect` unchanged when `control` is null.
VSK_API Types::TRect ClientToScreen(Controls::TWinControl* control, const Types::TRect& rect);

/// The rectangle whose corners are the control's ScreenToClient of the
/// corners of `rect`; `rect` unchanged when `control` is null.
VSK_API Types::TRect ScreenToClient(Controls::TWinControl* control, const Types::TRect& rect);

/// Sends LB_SETHORIZONTALEXTENT with `extent` (and 0) to the list box's window.
/// Errors: std::invalid_argument "listBox==NULL" for a null list box (no log record).
VSK_API void SetHorizontalExtent(Stdctrls::TCustomListBox* listBox, int extent);

/// Sets the horizontal extent to the widest item text, measured with
/// GetTextExtentPoint32A on the list box canvas's device context (texts the
/// system cannot measure are left out); 0 for an empty list box.
/// Errors: std::invalid_argument "listBox==NULL" for a null list box (no log record).
VSK_API void SetHorizontalExtentAuto(Stdctrls::TCustomListBox* listBox);

/// The same, plus 20 pixels for the check box: 20 for an empty list box.
VSK_API void SetHorizontalExtentAuto(Checklst::TCheckListBox* listBox);

/// Number of nodes on the level of `node`, the node included: the parent's
/// Count, or for a top-level node its Index + 1 + the siblings after it.
/// Errors: a null node is reported to the log as "CommFuncBCB(431):
/// GetSiblingNodeCount: node==NULL" and thrown as std::invalid_argument "node==NULL".
VSK_API int GetSiblingNodeCount(Comctrls::TTreeNode* node);

/// The node at position `index` on the level of `node`.
/// Errors, each reported to the log (source "CommFuncBCB", function
/// "GetSiblingNode", the line given) and thrown as std::invalid_argument with
/// the same text: "node==NULL" (467), "index<0" (468),
/// "index>=node->Parent->Count" (477), and for a top-level node an index past
/// the last sibling "引数indexが大きすぎる" (500, code page 932).
VSK_API Comctrls::TTreeNode* GetSiblingNode(Comctrls::TTreeNode* node, int index);

/// Moves `node`, with its children, to position `newIndex` among its
/// siblings; nothing happens when it is there already.
/// Errors, reported and thrown as GetSiblingNode's (function
/// "ChangeNodeIndex"): "node==NULL" (525), "newIndex<0" (526),
/// "newIndex>=maxCount" (530).
VSK_API void ChangeNodeIndex(Comctrls::TTreeNode* node, int newIndex);

/// One compiled regular expression that answers whether a whole text matches
/// it. Patterns are compiled by the runtime's POSIX regular-expression
/// interface, which is PCRE2's here: Perl syntax, case-sensitive, bytes of the
/// system code page (code page 932 texts match byte by byte).
///
/// The compiled pattern has exactly one owner: copying a CReg moves the
/// pattern to the copy, and the source no longer holds one (its Match throws).
///
/// Example:
///   vsk::bcb::CReg re("a[0-9]+");
///   re.Match("a12");       // true
///   re.Match("a12b");      // false: the whole text must match
///   vsk::bcb::CReg alt("a|ab");
///   alt.Match("ab");       // false: only the first match found ("a") is examined
///   vsk::bcb::CReg moved(re);  // re.Match(...) now throws; moved.Match("a1") is true
///
/// Thread safety: none; an object is used by one thread at a time.
class VSK_API CReg {
public:
    /// An object without a compiled pattern.
    CReg();
    /// Compiles `pattern`.
    /// Errors: as Compile.
    CReg(System::AnsiString pattern);
    /// Moves the compiled pattern of `other` to this object; `other` keeps none.
    CReg(const CReg& other);
    /// Releases this object's pattern, then moves the one of `other` here;
    /// nothing happens on self-assignment.
    CReg& operator=(const CReg& other);
    ~CReg();

    /// Releases any held pattern, then compiles `pattern` (no flags).
    /// Errors: std::runtime_error "CReg::Compile : パターンのコンパイルに失敗\r\n"
    /// followed by the engine's error text; the object then holds no pattern.
    void Compile(System::AnsiString pattern);
    /// Releases the compiled pattern, if any.
    void Free();
    /// True when the first match that the engine reports spans all of `text`.
    /// Errors: std::runtime_error "CReg::Match : パターンが未コンパイルです" without a
    /// compiled pattern; std::runtime_error "CReg::Match : パターンマッチの実行に失敗\r\n"
    /// followed by the engine's error text when the match itself fails.
    bool Match(System::AnsiString text) const;

    /// Turns a file-name wild card into a pattern: every "?" becomes "." and
    /// then every "*" becomes ".*". Nothing else is changed: regular-expression
    /// metacharacters of the wild card, the full stop included, stay as they are.
    ///
    /// Example: ConvToPerl("*.txt") == ".*.txt"; ConvToPerl("a?b") == "a.b";
    ///          ConvToPerl("x+(1)") == "x+(1)"
    static System::AnsiString ConvToPerl(System::AnsiString wildcard);

private:
    /// Storage of the runtime's compiled-pattern record (`regex_t`), kept as
    /// raw bytes so that this header does not need the engine's headers. Its
    /// size and alignment are checked against the real record where it is used.
    struct alignas(void*) CRegexRecord {
        unsigned char bytes[6 * sizeof(void*)];
    };

    CRegexRecord m_regex;
    /// True while m_regex holds a pattern that must be released; a copy
    /// clears the source's flag, hence mutable.
    mutable bool m_compiled;
};

} // namespace vsk::bcb
