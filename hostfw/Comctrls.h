// Comctrls.h - stand-in of the host framework's tree view: nodes over the
// items of a real tree-view control.
#pragma once

#include "hostfw/AnsiString.h"
#include "hostfw/Controls.h"
#include "hostfw/Hostfw_stdafx.h"
#include "hostfw/Property.h"

#include <windows.h>

#include <commctrl.h>

#include <memory>
#include <vector>

namespace Comctrls {

/// Where MoveTo puts a node relative to its destination.
enum TNodeAttachMode {
    naAdd = 0,           ///< last sibling of the destination
    naAddFirst = 1,      ///< first sibling of the destination
    naAddChild = 2,      ///< last child of the destination (top level for nullptr)
    naAddChildFirst = 3, ///< first child of the destination (top level for nullptr)
    naInsert = 4,        ///< just before the destination
};

class TTreeNodes;
class TTreeView;

/// One item of a tree-view control. Every question is asked of the control:
/// the node keeps only its item handle and its text.
/// Lifetime: owned by its TTreeNodes; valid while the tree view lives.
class HOSTFW_API TTreeNode {
public:
    TTreeNode(const TTreeNode&) = delete;
    TTreeNode& operator=(const TTreeNode&) = delete;

    /// The next node on the same level, nullptr after the last.
    TTreeNode* getNextSibling() const;
    /// The previous node on the same level, nullptr before the first.
    TTreeNode* getPrevSibling() const;
    /// Moves the node, with all its children, to the place `mode` gives
    /// relative to `destination`.
    /// Errors: Sysutils::Exception when the destination is the node itself or
    /// one of its descendants (for naInsert, naAdd, naAddFirst also when it
    /// is nullptr), or the control refuses an item.
    void MoveTo(TTreeNode* destination, TNodeAttachMode mode);

    /// The node's text.
    const System::AnsiString& Text() const { return m_text; }
    /// The tree view's item of the node.
    HTREEITEM ItemId() const { return m_item; }

private:
    friend class TTreeNodes;
    TTreeNode(TTreeNodes* owner, HTREEITEM item, const System::AnsiString& text);

    TTreeNode* GetParent() const;
    int GetIndex() const;
    int GetCount() const;
    TTreeNode* GetItem(int index) const;
    HTREEITEM Next(HTREEITEM item, unsigned relation) const;
    TTreeNode* NodeOf(HTREEITEM item) const;
    bool HasDescendantOrSelf(const TTreeNode* node) const;
    HTREEITEM CopyTo(HTREEITEM parent, HTREEITEM insertAfter);

public:
    /// The parent node, nullptr on the top level.
    hostfw::TReadProperty<TTreeNode, TTreeNode*, &TTreeNode::GetParent> Parent{this};
    /// Position among the siblings, from 0.
    hostfw::TReadProperty<TTreeNode, int, &TTreeNode::GetIndex> Index{this};
    /// Number of children.
    hostfw::TReadProperty<TTreeNode, int, &TTreeNode::GetCount> Count{this};
    /// Child `i`; Errors: Sysutils::Exception for an index out of range.
    hostfw::TIndexedReadProperty<TTreeNode, TTreeNode*, &TTreeNode::GetItem> Item{this};

private:
    TTreeNodes* m_owner;
    HTREEITEM m_item;
    System::AnsiString m_text;
};

/// The nodes of a tree view.
class HOSTFW_API TTreeNodes {
public:
    /// The nodes of `treeView`.
    explicit TTreeNodes(HWND treeView) : m_treeView(treeView) {}
    ~TTreeNodes();
    TTreeNodes(const TTreeNodes&) = delete;
    TTreeNodes& operator=(const TTreeNodes&) = delete;

    /// A new last node on the level of `sibling` (top level for nullptr).
    TTreeNode* Add(TTreeNode* sibling, const System::AnsiString& text);
    /// A new last child of `parent` (top level for nullptr).
    TTreeNode* AddChild(TTreeNode* parent, const System::AnsiString& text);
    /// Removes every item and node; nodes handed out before are no longer valid.
    void Clear();
    /// The first top-level node, nullptr when the tree is empty.
    TTreeNode* GetFirstNode() const;

    /// The tree view window.
    HWND TreeViewWindow() const { return m_treeView; }

private:
    friend class TTreeNode;
    TTreeNode* Insert(HTREEITEM parent, const System::AnsiString& text);

    HWND m_treeView;
    std::vector<std::unique_ptr<TTreeNode>> m_nodes;
};

/// A real tree-view control (the common controls' WC_TREEVIEW).
class HOSTFW_API TTreeView : public Controls::TWinControl {
public:
    /// A tree view, child of `parentWindow` (top-level when nullptr).
    /// Errors: Sysutils::Exception when the window cannot be made.
    explicit TTreeView(HWND parentWindow);
    ~TTreeView() override;

    /// The tree's nodes.
    TTreeNodes* const Items;
};

} // namespace Comctrls
