#include "foundation/Uuid.h"

#include <cerrno>
#include <cstring>
#include <random>

#include <sys/random.h>

namespace tavrin {

std::string Uuid::toString() const {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out.push_back('-');
        out.push_back(hex[bytes[i] >> 4]);
        out.push_back(hex[bytes[i] & 0xF]);
    }
    return out;
}

std::optional<Uuid> Uuid::fromString(std::string_view text) {
    if (text.size() != 36)
        return std::nullopt;
    Uuid uuid;
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-')
                return std::nullopt;
            ++i;
            continue;
        }
        auto nibble = [](char c) -> int {
            if (c >= '0' && c <= '9')
                return c - '0';
            if (c >= 'a' && c <= 'f')
                return c - 'a' + 10;
            if (c >= 'A' && c <= 'F')
                return c - 'A' + 10;
            return -1;
        };
        const int high = nibble(text[i]), low = nibble(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        uuid.bytes[byte++] = static_cast<std::uint8_t>(high << 4 | low);
        i += 2;
    }
    return uuid;
}

Uuid Uuid::random() {
    // 122 random bits from the kernel's generator; the other six are the version and the variant.
    Uuid uuid;
    std::size_t filled = 0;
    while (filled < uuid.bytes.size()) {
        const ssize_t got = ::getrandom(uuid.bytes.data() + filled, uuid.bytes.size() - filled, 0);
        if (got > 0)
            filled += static_cast<std::size_t>(got);
        else if (got < 0 && errno != EINTR)
            break;
    }
    if (filled < uuid.bytes.size()) {
        // A kernel without getrandom(2): the standard library's device, 32 bits a call.
        std::random_device device;
        for (std::size_t i = 0; i < uuid.bytes.size(); i += 4) {
            const std::uint32_t value = device();
            std::memcpy(uuid.bytes.data() + i, &value, 4);
        }
    }
    uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);
    uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
    return uuid;
}

} // namespace tavrin

std::size_t std::hash<tavrin::Uuid>::operator()(const tavrin::Uuid& uuid) const noexcept {
    std::uint64_t a, b;
    std::memcpy(&a, uuid.bytes.data(), 8);
    std::memcpy(&b, uuid.bytes.data() + 8, 8);
    return static_cast<std::size_t>(a ^ (b * 0x9E3779B97F4A7C15ULL));
}
