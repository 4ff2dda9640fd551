#pragma once

#include "State/Date.h"

namespace tavrin {

// Wall-clock time as the product sees it: the dates written to the database, the "now" of
// the savings estimate. Virtual in tests and replays.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Date now() const = 0;
};

class SystemClock final : public Clock {
public:
    Date now() const override;
};

} // namespace tavrin
