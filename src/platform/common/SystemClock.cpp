#include "platform/Clock.h"

namespace tavrin {

Date SystemClock::now() const {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

} // namespace tavrin
