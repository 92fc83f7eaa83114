// Comctrls.cpp - stand-in of the host framework's tree view.
#include "hostfw/Comctrls.h"

#include "hostfw/SysUtils.h"

#include <commctrl.h>

namespace Comctrls {

namespace {

HTREEITEM SendGetNext(HWND treeView, HTREEITEM item, unsigned relation) {
    return reinterpret_cast<HTREEITEM>(
        SendMessageA(treeView, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
}

LPARAM ItemParam(HWND treeView, HTREEITEM item) {
    TVITEMA data = {};
    data.mask = TVIF_PARAM | TVIF_HANDLE;
    data.hItem = item;
    SendMessageA(treeView, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&data));
    return data.lParam;
}

HTREEITEM InsertItem(HWND treeView, HTREEITEM parent, HTREEITEM insertAfter, const System::AnsiString& text,
                     LPARAM param) {
    TVINSERTSTRUCTA insert = {};
    insert.hParent = parent;
    insert.hInsertAfter = insertAfter;
    insert.item.mask = TVIF_TEXT | TVIF_PARAM;
    insert.item.pszText = const_cast<char*>(text.c_str());
    insert.item.lParam = param;
    auto item = reinterpret_cast<HTREEITEM>(SendMessageA(treeView, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
    if (!item)
        throw Sysutils::Exception("the tree view refused an item");
    return item;
}

} // namespace

TTreeNode::TTreeNode(TTreeNodes* owner, HTREEITEM item, const System::AnsiString& text)
    : m_owner(owner), m_item(item), m_text(text) {}

HTREEITEM TTreeNode::Next(HTREEITEM item, unsigned relation) const {
    return SendGetNext(m_owner->m_treeView, item, relation);
}

TTreeNode* TTreeNode::NodeOf(HTREEITEM item) const {
    return item ? reinterpret_cast<TTreeNode*>(ItemParam(m_owner->m_treeView, item)) : nullptr;
}

TTreeNode* TTreeNode::getNextSibling() const { return NodeOf(Next(m_item, TVGN_NEXT)); }

TTreeNode* TTreeNode::getPrevSibling() const { return NodeOf(Next(m_item, TVGN_PREVIOUS)); }

TTreeNode* TTreeNode::GetParent() const { return NodeOf(Next(m_item, TVGN_PARENT)); }

int TTreeNode::GetIndex() const {
    int index = 0;
    for (HTREEITEM item = Next(m_item, TVGN_PREVIOUS); item; item = Next(item, TVGN_PREVIOUS))
        ++index;
    return index;
}

int TTreeNode::GetCount() const {
    int count = 0;
    for (HTREEITEM item = Next(m_item, TVGN_CHILD); item; item = Next(item, TVGN_NEXT))
        ++count;
    return count;
}

TTreeNode* TTreeNode::GetItem(int index) const {
    HTREEITEM item = index >= 0 ? Next(m_item, TVGN_CHILD) : nullptr;
    for (int i = 0; item && i < index; ++i)
        item = Next(item, TVGN_NEXT);
    if (!item)
        throw Sysutils::Exception("tree node index out of bounds");
    return NodeOf(item);
}

bool TTreeNode::HasDescendantOrSelf(const TTreeNode* node) const {
    for (const TTreeNode* n = node; n; n = n->GetParent()) {
        if (n == this)
            return true;
    }
    return false;
}

// The control cannot move an item: the node and its children are inserted
// anew at the target, then the old items are deleted. Every node object
// keeps its identity and takes the new item handle.
HTREEITEM TTreeNode::CopyTo(HTREEITEM parent, HTREEITEM insertAfter) {
    HWND treeView = m_owner->m_treeView;
    const HTREEITEM copy = InsertItem(treeView, parent, insertAfter, m_text, reinterpret_cast<LPARAM>(this));
    std::vector<TTreeNode*> children;
    for (HTREEITEM child = Next(m_item, TVGN_CHILD); child; child = Next(child, TVGN_NEXT))
        children.push_back(NodeOf(child));
    for (TTreeNode* child : children)
        child->CopyTo(copy, TVI_LAST);
    m_item = copy;
    return copy;
}

void TTreeNode::MoveTo(TTreeNode* destination, TNodeAttachMode mode) {
    if (destination && HasDescendantOrSelf(destination))
        throw Sysutils::Exception("a node cannot move into itself");
    HTREEITEM parent = TVI_ROOT;
    HTREEITEM insertAfter = TVI_LAST;
    switch (mode) {
    case naAddChild:
    case naAddChildFirst:
        parent = destination ? destination->m_item : TVI_ROOT;
        insertAfter = mode == naAddChild ? TVI_LAST : TVI_FIRST;
        break;
    case naAdd:
    case naAddFirst:
    case naInsert: {
        if (!destination)
            throw Sysutils::Exception("the node has no destination");
        const HTREEITEM destinationParent = Next(destination->m_item, TVGN_PARENT);
        parent = destinationParent ? destinationParent : TVI_ROOT;
        if (mode == naInsert) {
            const HTREEITEM previous = Next(destination->m_item, TVGN_PREVIOUS);
            insertAfter = previous ? previous : TVI_FIRST;
        } else {
            insertAfter = mode == naAdd ? TVI_LAST : TVI_FIRST;
        }
        break;
    }
    default:
        throw Sysutils::Exception("unknown attach mode");
    }
    const HTREEITEM old = m_item;
    // Deleting the old item also deletes the old items of the children,
    // whose nodes have already taken their new handles.
    CopyTo(parent, insertAfter);
    SendMessageA(m_owner->m_treeView, TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(old));
}

TTreeNodes::~TTreeNodes() = default;

TTreeNode* TTreeNodes::Insert(HTREEITEM parent, const System::AnsiString& text) {
    std::unique_ptr<TTreeNode> node(new TTreeNode(this, nullptr, text));
    node->m_item = InsertItem(m_treeView, parent, TVI_LAST, text, reinterpret_cast<LPARAM>(node.get()));
    m_nodes.push_back(std::move(node));
    return m_nodes.back().get();
}

TTreeNode* TTreeNodes::Add(TTreeNode* sibling, const System::AnsiString& text) {
    HTREEITEM parent = sibling ? SendGetNext(m_treeView, sibling->m_item, TVGN_PARENT) : nullptr;
    return Insert(parent ? parent : TVI_ROOT, text);
}

TTreeNode* TTreeNodes::AddChild(TTreeNode* parent, const System::AnsiString& text) {
    return Insert(parent ? parent->m_item : TVI_ROOT, text);
}

void TTreeNodes::Clear() {
    SendMessageA(m_treeView, TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(TVI_ROOT));
    m_nodes.clear();
}

TTreeNode* TTreeNodes::GetFirstNode() const {
    HTREEITEM item = SendGetNext(m_treeView, nullptr, TVGN_ROOT);
    return item ? reinterpret_cast<TTreeNode*>(ItemParam(m_treeView, item)) : nullptr;
}

namespace {

const char* TreeViewClass() {
    static const bool loaded = [] {
        INITCOMMONCONTROLSEX init = {sizeof(init), ICC_TREEVIEW_CLASSES};
        return InitCommonControlsEx(&init) != FALSE;
    }();
    if (!loaded)
        throw Sysutils::Exception("the tree-view control class is not available");
    return WC_TREEVIEWA;
}

} // namespace

TTreeView::TTreeView(HWND parentWindow)
    : Controls::TWinControl(parentWindow, TreeViewClass(), TVS_HASLINES | TVS_HASBUTTONS | TVS_LINESATROOT,
                            WS_EX_CLIENTEDGE),
      Items(new TTreeNodes(Handle)) {}

TTreeView::~TTreeView() {
    // The node objects go before the window; nothing reads them while the
    // window destroys its items.
    delete Items;
}

} // namespace Comctrls
