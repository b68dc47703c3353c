// Stack<T>: last in, first out, over a vector.
//
//   Stack<int> depth;  depth.push(1);  depth.top();  depth.pop();
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

template <class T>
class Stack {
public:
    void push(const T &value) { m_items.push_back(value); }
    void push(T &&value) { m_items.push_back(std::move(value)); }
    // Removes the top element into *out; false (and *out untouched) when empty.
    bool pop(T *out = nullptr)
    {
        if (m_items.empty())
            return false;
        if (out)
            *out = std::move(m_items.back());
        m_items.pop_back();
        return true;
    }
    // The top element; the stack must not be empty.
    T &top() { return m_items.back(); }
    const T &top() const { return m_items.back(); }
    bool empty() const { return m_items.empty(); }
    size_t size() const { return m_items.size(); }
    void clear() { m_items.clear(); }

private:
    std::vector<T> m_items;
};
