// List<T>: the foundation's ordered list, a std::list with the few named
// operations the class-based code uses. ListItem<T> is a position in it.
//
//   List<String> words = StringMan::split(text, ",");
//   for (const String &word : words) ...
//   words.append("last");  words.count();  words.at(2);
#pragma once

#include <cstddef>
#include <list>

template <class T>
class List : public std::list<T> {
public:
    using std::list<T>::list;

    // Adds a copy of value at the end; returns it in the list.
    T &append(const T &value)
    {
        this->push_back(value);
        return this->back();
    }
    // Adds a copy of value at the front; returns it in the list.
    T &prepend(const T &value)
    {
        this->push_front(value);
        return this->front();
    }
    size_t count() const { return this->size(); }
    // The element at index (0-based), or null past the end.
    T *at(size_t index)
    {
        for (T &value : *this)
            if (index-- == 0)
                return &value;
        return nullptr;
    }
    const T *at(size_t index) const { return const_cast<List *>(this)->at(index); }
};

// A position in a List<T> (an iterator; end() means none).
template <class T>
using ListItem = typename List<T>::iterator;
