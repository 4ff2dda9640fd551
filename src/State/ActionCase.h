#pragma once

// Declares an action case without a payload. Action cases are small structs that compare by value.
#define TAVRIN_EMPTY_ACTION(name)                                                                                      \
    struct name {                                                                                                      \
        bool operator==(const name&) const = default;                                                                  \
    }
