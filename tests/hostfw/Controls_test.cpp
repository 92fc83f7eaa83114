// Controls_test.cpp - the stand-in's canvas, controls, list boxes and tree
// view over real device contexts and windows.
#include "hostfw/Checklst.h"
#include "hostfw/Comctrls.h"
#include "hostfw/Controls.h"
#include "hostfw/Graphics.h"
#include "hostfw/Stdctrls.h"
#include "hostfw/SysUtils.h"
#include "hostfw/Types.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Children(HWND tree, HTREEITEM parent) {
    std::string texts;
    HTREEITEM item = reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, parent ? TVGN_CHILD : TVGN_ROOT,
                                                              reinterpret_cast<LPARAM>(parent)));
    while (item) {
        char text[32] = {};
        TVITEMA data = {};
        data.mask = TVIF_TEXT | TVIF_HANDLE;
        data.hItem = item;
        data.pszText = text;
        data.cchTextMax = sizeof(text);
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&data));
        texts += std::string(text) + " ";
        item = reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, TVGN_NEXT, reinterpret_cast<LPARAM>(item)));
    }
    return texts;
}

} // namespace

TEST(TRect, CornersAndEquality) {
    const Types::TRect r(Types::TPoint(1, 2), Types::TPoint(3, 4));
    EXPECT_TRUE(r == Types::TRect(1, 2, 3, 4));
    EXPECT_TRUE(r.TopLeft() == Types::TPoint(1, 2));
    EXPECT_TRUE(r.BottomRight() == Types::TPoint(3, 4));
    EXPECT_TRUE(r != Types::TRect(1, 2, 3, 5));
}

TEST(TCanvas, WithoutDeviceContextDrawingThrows) {
    Graphics::TCanvas canvas;
    EXPECT_EQ(static_cast<HDC>(canvas.Handle), nullptr);
    EXPECT_THROW(canvas.MoveTo(0, 0), Sysutils::Exception);
    EXPECT_THROW(canvas.LineTo(1, 1), Sysutils::Exception);
}

TEST(TCanvas, LineToDrawsWithThePenAndLeavesTheEndPixel) {
    HDC screen = GetDC(nullptr);
    HDC dc = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, 10, 10);
    ReleaseDC(nullptr, screen);
    HGDIOBJ old = SelectObject(dc, bitmap);
    RECT all = {0, 0, 10, 10};
    FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    {
        Graphics::TCanvas canvas;
        canvas.Handle = dc;
        EXPECT_EQ(static_cast<HDC>(canvas.Handle), dc);
        canvas.Pen->Color = RGB(0, 0, 255);
        canvas.MoveTo(1, 5);
        canvas.LineTo(4, 5);
        EXPECT_EQ(GetPixel(dc, 1, 5), RGB(0, 0, 255));
        EXPECT_EQ(GetPixel(dc, 3, 5), RGB(0, 0, 255));
        EXPECT_EQ(GetPixel(dc, 4, 5), RGB(255, 255, 255));
        canvas.Handle = nullptr;
    }
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
}

TEST(TWinControl, IsARealWindowThatFollowsItsBounds) {
    Controls::TWinControl form(nullptr);
    ASSERT_TRUE(IsWindow(form.Handle));
    form.SetBounds(40, 30, 120, 90);
    const Types::TPoint p = form.ClientToScreen(Types::TPoint(5, 6));
    POINT q = {5, 6};
    ClientToScreen(form.Handle, &q);
    EXPECT_EQ(p.x, q.x);
    EXPECT_EQ(p.y, q.y);
    EXPECT_TRUE(form.ScreenToClient(p) == Types::TPoint(5, 6));
}

TEST(TCustomListBox, ItemsLiveInARealListBox) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    char className[32] = {};
    GetClassNameA(box.Handle, className, sizeof(className));
    EXPECT_STRCASEEQ(className, "ListBox");
    EXPECT_EQ(box.Items->Count, 0);
    EXPECT_EQ(box.Items->Add("表示"), 0);
    EXPECT_EQ(box.Items->Add(""), 1);
    EXPECT_EQ(SendMessageA(box.Handle, LB_GETCOUNT, 0, 0), 2);
    EXPECT_EQ(box.Items->Count, 2);
    EXPECT_STREQ(box.Items->Strings[0].c_str(), "\x95\x5C\x8E\xA6");
    EXPECT_TRUE(box.Items->Strings[1].IsEmpty());
    EXPECT_THROW(box.Items->Strings[2], Sysutils::Exception);
    EXPECT_NE(static_cast<HDC>(box.Canvas->Handle), nullptr);
    box.Items->Clear();
    EXPECT_EQ(box.Items->Count, 0);
}

TEST(TCheckListBox, IsOwnerDrawnAndKeepsCheckMarks) {
    Controls::TWinControl form(nullptr);
    Checklst::TCheckListBox box(form.Handle);
    EXPECT_NE(GetWindowLongA(box.Handle, GWL_STYLE) & LBS_OWNERDRAWFIXED, 0);
    box.Items->Add("a");
    box.Items->Add("b");
    box.SetChecked(1, true);
    EXPECT_FALSE(box.GetChecked(0));
    EXPECT_TRUE(box.GetChecked(1));
    UpdateWindow(box.Handle); // the owner-draw requests pass through the form
}

TEST(TTreeNode, NavigatesTheItemsOfARealTreeView) {
    Controls::TWinControl form(nullptr);
    Comctrls::TTreeView tree(form.Handle);
    Comctrls::TTreeNode* a = tree.Items->Add(nullptr, "a");
    Comctrls::TTreeNode* b = tree.Items->Add(a, "b");
    Comctrls::TTreeNode* a1 = tree.Items->AddChild(a, "a1");
    Comctrls::TTreeNode* a2 = tree.Items->AddChild(a, "a2");
    EXPECT_EQ(Children(tree.Handle, nullptr), "a b ");
    EXPECT_EQ(Children(tree.Handle, a->ItemId()), "a1 a2 ");
    EXPECT_EQ(tree.Items->GetFirstNode(), a);
    EXPECT_EQ(a->getNextSibling(), b);
    EXPECT_EQ(b->getPrevSibling(), a);
    EXPECT_EQ(a->getPrevSibling(), nullptr);
    EXPECT_EQ(b->getNextSibling(), nullptr);
    EXPECT_EQ(a1->Parent, a);
    EXPECT_EQ(a->Parent, nullptr);
    EXPECT_EQ(a2->Index, 1);
    EXPECT_EQ(a->Count, 2);
    EXPECT_EQ(b->Count, 0);
    EXPECT_EQ(a->Item[1], a2);
    EXPECT_EQ(a2->Parent->Count, 2);
    EXPECT_THROW(a->Item[2], Sysutils::Exception);
}

TEST(TTreeNode, MoveToCarriesTheChildrenInEveryAttachMode) {
    Controls::TWinControl form(nullptr);
    Comctrls::TTreeView tree(form.Handle);
    Comctrls::TTreeNode* a = tree.Items->Add(nullptr, "a");
    Comctrls::TTreeNode* b = tree.Items->Add(nullptr, "b");
    Comctrls::TTreeNode* c = tree.Items->Add(nullptr, "c");
    tree.Items->AddChild(a, "a1");
    Comctrls::TTreeNode* a2 = tree.Items->AddChild(a, "a2");
    tree.Items->AddChild(a2, "a2x");
    HWND window = tree.Handle;
    EXPECT_EQ(Comctrls::naAddChild, 2);
    EXPECT_EQ(Comctrls::naInsert, 4);
    a->MoveTo(c, Comctrls::naInsert);
    EXPECT_EQ(Children(window, nullptr), "b a c ");
    EXPECT_EQ(Children(window, a->ItemId()), "a1 a2 ");
    EXPECT_EQ(Children(window, a2->ItemId()), "a2x ");
    a->MoveTo(nullptr, Comctrls::naAddChild);
    EXPECT_EQ(Children(window, nullptr), "b c a ");
    a->MoveTo(b, Comctrls::naAddChild);
    EXPECT_EQ(Children(window, nullptr), "b c ");
    EXPECT_EQ(Children(window, b->ItemId()), "a ");
    EXPECT_EQ(a->Parent, b);
    a->MoveTo(b, Comctrls::naAddFirst);
    EXPECT_EQ(Children(window, nullptr), "a b c ");
    a->MoveTo(c, Comctrls::naAdd);
    EXPECT_EQ(Children(window, nullptr), "b c a ");
    c->MoveTo(b, Comctrls::naAddChildFirst);
    EXPECT_EQ(Children(window, b->ItemId()), "c ");
    EXPECT_EQ(Children(window, a->ItemId()), "a1 a2 ");
    EXPECT_EQ(Children(window, a2->ItemId()), "a2x ");
    // Into itself or a descendant: refused, nothing moves.
    EXPECT_THROW(a->MoveTo(a2, Comctrls::naAddChild), Sysutils::Exception);
    EXPECT_THROW(a->MoveTo(a, Comctrls::naInsert), Sysutils::Exception);
    EXPECT_THROW(a->MoveTo(nullptr, Comctrls::naInsert), Sysutils::Exception);
    EXPECT_EQ(Children(window, nullptr), "b a ");
}
