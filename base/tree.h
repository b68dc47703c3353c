// Tree<T>: an ordered tree of values (each node has an ordered list of
// children), walked and changed through a TreeIter<T>.
//
//   Tree<Node> tree;                     // a root holding T()
//   TreeIter<Node> it(tree);             // at the root
//   it.add_child(section);               // new last child; it stays put
//   it.down_last();                      // into the new child
//   it.up();  it.top();  it.right();     // parent, root, next sibling
//   for (it.top(); it.next();) use(*it); // pre-order, root excluded
//   it.remove();                         // drops the node and its subtree
//
// Nodes are owned by the tree; deep trees are freed without recursion.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

template <class T>
class Tree;
template <class T>
class TreeIter;

template <class T>
class TreeNode {
public:
    T data;

    TreeNode *parent() const { return m_parent; }
    TreeNode *first_child() const { return m_first; }
    TreeNode *last_child() const { return m_last; }
    TreeNode *next_sibling() const { return m_next; }
    TreeNode *prev_sibling() const { return m_prev; }

private:
    friend class Tree<T>;
    friend class TreeIter<T>;
    explicit TreeNode(const T &value) : data(value) {}

    // Appends child as the last child.
    void link_last(TreeNode *child)
    {
        child->m_parent = this;
        child->m_prev = m_last;
        child->m_next = nullptr;
        (m_last ? m_last->m_next : m_first) = child;
        m_last = child;
    }
    // Takes this node out of its parent's list of children.
    void unlink()
    {
        if (!m_parent)
            return;
        (m_prev ? m_prev->m_next : m_parent->m_first) = m_next;
        (m_next ? m_next->m_prev : m_parent->m_last) = m_prev;
        m_parent = m_prev = m_next = nullptr;
    }

    TreeNode *m_parent = nullptr;
    TreeNode *m_first = nullptr;
    TreeNode *m_last = nullptr;
    TreeNode *m_next = nullptr;
    TreeNode *m_prev = nullptr;
};

template <class T>
class Tree {
public:
    explicit Tree(const T &rootValue = T()) : m_root(new TreeNode<T>(rootValue)) {}
    ~Tree() { destroy(m_root); }
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;

    TreeNode<T> *root() const { return m_root; }
    bool empty() const { return m_root->first_child() == nullptr; }
    // Removes every node below the root.
    void clear()
    {
        while (TreeNode<T> *child = m_root->first_child()) {
            child->unlink();
            destroy(child);
        }
    }

private:
    friend class TreeIter<T>;
    // Frees node and its subtree (node must be unlinked or the root).
    static void destroy(TreeNode<T> *node)
    {
        std::vector<TreeNode<T> *> pending{node};
        while (!pending.empty()) {
            TreeNode<T> *current = pending.back();
            pending.pop_back();
            for (TreeNode<T> *c = current->m_first; c; c = c->m_next)
                pending.push_back(c);
            delete current;
        }
    }

    TreeNode<T> *m_root;
};

template <class T>
class TreeIter {
public:
    explicit TreeIter(Tree<T> &tree) : m_tree(&tree), m_node(tree.root()) {}

    TreeNode<T> *node() const { return m_node; }
    T &operator*() const { return m_node->data; }
    T *operator->() const { return &m_node->data; }
    bool at_top() const { return m_node == m_tree->root(); }

    // Moves; each returns false and stays put when there is no such node.
    void top() { m_node = m_tree->root(); }
    bool up() { return move_to(m_node->parent()); }
    bool down() { return move_to(m_node->first_child()); }   // first child
    bool down_last() { return move_to(m_node->last_child()); }
    bool right() { return move_to(m_node->next_sibling()); }
    bool left() { return move_to(m_node->prev_sibling()); }

    // Next node in pre-order (children before the next sibling). At the end
    // of the walk returns false and goes back to the root.
    bool next()
    {
        if (down())
            return true;
        for (TreeNode<T> *n = m_node; n && n != m_tree->root(); n = n->parent())
            if (n->next_sibling()) {
                m_node = n->next_sibling();
                return true;
            }
        top();
        return false;
    }

    // Adds a child at the right end of the current node's children; the
    // iterator stays where it is. Returns the new node.
    TreeNode<T> *add_child(const T &value)
    {
        TreeNode<T> *child = new TreeNode<T>(value);
        m_node->link_last(child);
        return child;
    }

    // Removes the current node with its subtree and moves to its parent.
    // The root cannot be removed (false).
    bool remove()
    {
        if (at_top())
            return false;
        TreeNode<T> *gone = m_node;
        m_node = gone->parent();
        gone->unlink();
        Tree<T>::destroy(gone);
        return true;
    }

private:
    bool move_to(TreeNode<T> *node)
    {
        if (!node)
            return false;
        m_node = node;
        return true;
    }

    Tree<T> *m_tree;
    TreeNode<T> *m_node;
};
