#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

// A 128-bit identifier; names one click from intake to its stored row.
struct Uuid {
    std::array<std::uint8_t, 16> bytes{};

    // Upper-case canonical form, 8-4-4-4-12.
    std::string toString() const;
    static std::optional<Uuid> fromString(std::string_view text);
    // A random version-4 UUID. Thread-safe.
    static Uuid random();

    auto operator<=>(const Uuid&) const = default;
};

} // namespace tavrin

template <> struct std::hash<tavrin::Uuid> { std::size_t operator()(const tavrin::Uuid& uuid) const noexcept; };
