#include "foundation/Date.h"

#include <cstdio>

namespace tavrin {

std::string formatDate(Date date) {
    using namespace std::chrono;
    const auto day = floor<days>(date);
    const year_month_day ymd{day};
    const hh_mm_ss<milliseconds> time{date - day};
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02ld:%02ld:%02ld.%03ld", static_cast<int>(ymd.year()),
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                  static_cast<long>(time.hours().count()), static_cast<long>(time.minutes().count()),
                  static_cast<long>(time.seconds().count()), static_cast<long>(time.subseconds().count()));
    return buffer;
}

namespace {

bool readDigits(std::string_view text, std::size_t at, std::size_t count, int& out) {
    if (at + count > text.size())
        return false;
    out = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        out = out * 10 + (text[i] - '0');
    }
    return true;
}

} // namespace

std::optional<Date> parseDate(std::string_view text) {
    using namespace std::chrono;
    // 2026-11-22T09:05:01.123
    if (text.size() != 23 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
        text[16] != ':' || text[19] != '.')
        return std::nullopt;
    int y, mo, d, h, mi, s, ms;
    if (!readDigits(text, 0, 4, y) || !readDigits(text, 5, 2, mo) || !readDigits(text, 8, 2, d) ||
        !readDigits(text, 11, 2, h) || !readDigits(text, 14, 2, mi) || !readDigits(text, 17, 2, s) ||
        !readDigits(text, 20, 3, ms))
        return std::nullopt;
    const year_month_day ymd{year{y}, month{static_cast<unsigned>(mo)}, day{static_cast<unsigned>(d)}};
    if (!ymd.ok() || h > 23 || mi > 59 || s > 59)
        return std::nullopt;
    return Date{sys_days{ymd}.time_since_epoch() + hours{h} + minutes{mi} + seconds{s} + milliseconds{ms}};
}

} // namespace tavrin
