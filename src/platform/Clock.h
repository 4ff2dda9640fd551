#pragma once

#include "foundation/Date.h"

namespace tavrin {

// Wall-clock time as the product sees it: the dates written to the database, the "now" of
// the savings estimate. Virtual in tests and replays.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Date now() const = 0;
    // The same moment as seconds since 1970, to the clock's full precision (finer than the
    // millisecond of a Date): the times of held keys.
    virtual double secondsSinceEpoch() const { return std::chrono::duration<double>(now().time_since_epoch()).count(); }
};

class SystemClock final : public Clock {
public:
    Date now() const override;
    double secondsSinceEpoch() const override;
};

} // namespace tavrin
