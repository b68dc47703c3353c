// SmartPtr<T>: reference-counted owner. Copies share the object; the last
// owner deletes it. The count is thread-safe (copies may live in several
// threads), the object itself is not protected.
//
//   SmartPtr<Tree<Node>> tree(new Tree<Node>);
//   SmartPtr<Tree<Node>> shared = tree;   // same tree, count 2
#pragma once

#include <memory>

template <class T>
class SmartPtr {
public:
    SmartPtr() = default;
    explicit SmartPtr(T *object) : m_object(object) {}

    T *get() const { return m_object.get(); }
    T *operator->() const { return m_object.get(); }
    T &operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    // Drops this owner's share and takes ownership of object (may be null).
    void reset(T *object = nullptr) { m_object.reset(object); }
    long use_count() const { return m_object.use_count(); }
    bool operator==(const SmartPtr &other) const { return m_object == other.m_object; }
    bool operator!=(const SmartPtr &other) const { return m_object != other.m_object; }

private:
    std::shared_ptr<T> m_object;
};
