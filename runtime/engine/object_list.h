// Objects of one kind, in order. They stay where they are from when they are added. A list can also refer to objects of
// another one, which must outlive it.
#pragma once

#include <cstddef>
#include <deque>
#include <iterator>
#include <utility>
#include <vector>

namespace libzepl {

template <class Object>
class ObjectList {
    template <class Item>
    class Iterator {
     public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Object;
        using difference_type = std::ptrdiff_t;
        using pointer = Item*;
        using reference = Item&;

        Iterator() = default;
        explicit Iterator(Object* const* at) : at_(at) {}
        Item& operator*() const { return **at_; }
        Item* operator->() const { return *at_; }
        Iterator& operator++() {
            ++at_;
            return *this;
        }
        Iterator operator++(int) { return Iterator(at_++); }
        bool operator==(const Iterator&) const = default;

     private:
        Object* const* at_ = nullptr;
    };

 public:
    template <class... Arguments>
    Object& emplace_back(Arguments&&... arguments) {
        return refer(own_.emplace_back(std::forward<Arguments>(arguments)...));
    }
    void push_back(Object&& object) { emplace_back(std::move(object)); }
    Object& refer(Object& object) {
        all_.push_back(&object);
        return object;
    }
    // From the list; it stays where it is.
    void remove(const Object& object) { std::erase(all_, &object); }

    std::size_t size() const { return all_.size(); }
    bool empty() const { return all_.empty(); }
    Object& operator[](std::size_t index) { return *all_[index]; }
    const Object& operator[](std::size_t index) const { return *all_[index]; }
    Object& back() { return *all_.back(); }
    const Object& back() const { return *all_.back(); }
    auto begin() { return Iterator<Object>(all_.data()); }
    auto end() { return Iterator<Object>(all_.data() + all_.size()); }
    auto begin() const { return Iterator<const Object>(all_.data()); }
    auto end() const { return Iterator<const Object>(all_.data() + all_.size()); }

 private:
    std::deque<Object> own_;
    std::vector<Object*> all_;
};

}  // namespace libzepl
