// What handles stand for. Every host operation looks a handle up, so the way is short: the number of handles and the place
// of the first are kept beside the vector that holds them.
#pragma once

#include <cstdint>
#include <vector>

namespace libzepl {

template <class Item>
class HandleTable {
 public:
    HandleTable() = default;
    HandleTable(const HandleTable& other) : items_(other.items_), first_(items_.data()), count_(other.count_) {}
    HandleTable& operator=(const HandleTable&) = delete;

    // The handle of the item, which must stay where it is. Handles count from 1.
    std::uint32_t add(Item& item) {
        items_.push_back(&item);
        first_ = items_.data();
        return ++count_;
    }
    bool has(std::uint32_t handle) const { return handle - 1 < count_; }
    Item& operator[](std::uint32_t handle) const { return *first_[handle - 1]; }

 private:
    std::vector<Item*> items_;
    Item* const* first_ = nullptr;
    std::uint32_t count_ = 0;
};

}  // namespace libzepl
