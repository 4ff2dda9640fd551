#include "State/Pause.h"

#include <nlohmann/json.hpp>

namespace tavrin {

Pause Pause::starting(Date now, std::optional<std::chrono::minutes> length) {
    Pause pause{now, std::nullopt};
    if (length)
        pause.until = now + std::chrono::duration_cast<std::chrono::milliseconds>(*length);
    return pause;
}

nlohmann::json Pause::toStored() const {
    nlohmann::json stored = {{"since", formatDate(since)}};
    if (until)
        stored["until"] = formatDate(*until);
    return stored;
}

std::optional<Pause> Pause::fromStored(const nlohmann::json& value) {
    if (!value.is_object())
        return std::nullopt;
    const auto date = [&](const char* key) -> std::optional<Date> {
        const auto it = value.find(key);
        return it != value.end() && it->is_string() ? parseDate(it->get<std::string>()) : std::nullopt;
    };
    const auto since = date("since");
    if (!since)
        return std::nullopt;
    Pause pause{*since, std::nullopt};
    if (value.contains("until")) {
        pause.until = date("until");
        if (!pause.until)
            return std::nullopt;
    }
    return pause;
}

} // namespace tavrin
