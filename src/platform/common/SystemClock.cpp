#include "platform/Clock.h"

namespace tavrin {

Date SystemClock::now() const {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

double SystemClock::secondsSinceEpoch() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

} // namespace tavrin
