#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "foundation/Uuid.h"

namespace tavrin {

// A bounded list of per-click values, newest first. Enqueuing at the bound drops the oldest;
// nothing else removes an item. A UUID may stand twice; lookups see the newest.
template <class T> struct LimitedQueue {
    std::vector<std::pair<Uuid, T>> items; // index 0 is the newest
    std::int64_t maxSize = 10;

    void enqueue(const Uuid& uuid, T value) {
        items.insert(items.begin(), {uuid, std::move(value)});
        if (static_cast<std::int64_t>(items.size()) > maxSize)
            items.pop_back();
    }

    const T* lookup(const Uuid& uuid) const {
        for (const auto& [id, value] : items)
            if (id == uuid)
                return &value;
        return nullptr;
    }

    bool operator==(const LimitedQueue&) const = default;
};

} // namespace tavrin
