#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

namespace Orvan {
namespace Velin {

/// Reports an index past the end of a work list. Such an index is a programming fault, not bad data, so it
/// ends the process instead of reading or writing out of bounds: a message on stderr, then on Windows the
/// invalid-parameter handler a host installed (docs/windows.md), then abort.
[[noreturn]] void failListIndex(std::size_t index, std::size_t size);

/// A growable sequence whose every indexed access is range-checked. The detector's work lists and result
/// lists are held in it.
template <class T>
class CheckedList {
public:
    CheckedList() = default;
    CheckedList(std::initializer_list<T> init) : items(init) {}
    explicit CheckedList(std::size_t count, const T& value = T()) : items(count, value) {}

    T& operator[](std::size_t i) {
        if (i >= items.size()) failListIndex(i, items.size());
        return items[i];
    }
    const T& operator[](std::size_t i) const {
        if (i >= items.size()) failListIndex(i, items.size());
        return items[i];
    }
    T& front() { return (*this)[0]; }
    const T& front() const { return (*this)[0]; }
    T& back() { return (*this)[items.size() - 1]; }
    const T& back() const { return (*this)[items.size() - 1]; }

    std::size_t size() const { return items.size(); }
    bool empty() const { return items.empty(); }
    void clear() { items.clear(); }
    void reserve(std::size_t n) { items.reserve(n); }
    void resize(std::size_t n) { items.resize(n); }
    void push_back(const T& value) { items.push_back(value); }
    void push_back(T&& value) { items.push_back(std::move(value)); }
    template <class... Args>
    T& emplace_back(Args&&... args) { return items.emplace_back(std::forward<Args>(args)...); }
    void pop_back() {
        if (items.empty()) failListIndex(0, 0);
        items.pop_back();
    }

    typename std::vector<T>::iterator begin() { return items.begin(); }
    typename std::vector<T>::iterator end() { return items.end(); }
    typename std::vector<T>::const_iterator begin() const { return items.begin(); }
    typename std::vector<T>::const_iterator end() const { return items.end(); }

private:
    std::vector<T> items;
};

}  // namespace Velin
}  // namespace Orvan
