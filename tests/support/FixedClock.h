#pragma once

#include "platform/Clock.h"

namespace tavrin::testing {

// A clock that says what it is told.
class FixedClock final : public Clock {
public:
    explicit FixedClock(Date now = *parseDate("2026-11-22T10:00:00.000")) : now_(now) {}
    Date now() const override { return now_; }
    void set(Date now) { now_ = now; }
    void advance(std::chrono::milliseconds by) { now_ += by; }

private:
    Date now_;
};

} // namespace tavrin::testing
