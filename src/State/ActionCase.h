#pragma once

#include <string_view>
#include <variant>

// Declares an action case without a payload. Action cases are small structs that compare by value.
#define TAVRIN_EMPTY_ACTION(name)                                                                                      \
    struct name {                                                                                                      \
        bool operator==(const name&) const = default;                                                                  \
    }

namespace tavrin {

// The unqualified name of the type `T`, from the compiler's name of this function
// ("... [with T = tavrin::FTUEDomain::nextStep]").
template <class T> std::string_view caseTypeName() {
    std::string_view name = __PRETTY_FUNCTION__;
    name.remove_prefix(name.find("T = ") + 4);
    name = name.substr(0, name.find_first_of(";]"));
    const auto colons = name.rfind("::");
    return colons == std::string_view::npos ? name : name.substr(colons + 2);
}

// The name of the case an action holds, as its struct is named ("nextStep"), for logs and test
// failures.
template <class... Cases> std::string_view actionCaseName(const std::variant<Cases...>& action) {
    static const std::string_view names[] = {caseTypeName<Cases>()...};
    return names[action.index()];
}

} // namespace tavrin
