#pragma once

#include <thread>
#include <utility>

namespace tavrin {

// Gives the calling thread a signal stack of its own, unless it has one already, so that a fatal
// signal can still be handled on it when the thread has overflowed its stack (the crash handler
// writes its record there). The stack goes with the thread. Idempotent; any thread.
void prepareThisThread();

// A thread of the program: `body` runs after prepareThisThread(). Every thread the program starts
// is made here or, on a pool it does not make itself, calls prepareThisThread() first.
template <class Body> std::thread startThread(Body body) {
    return std::thread([body = std::move(body)]() mutable {
        prepareThisThread();
        body();
    });
}

} // namespace tavrin
