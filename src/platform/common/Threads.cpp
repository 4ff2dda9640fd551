#include "platform/common/Threads.h"

#include <algorithm>
#include <csignal>
#include <memory>

namespace tavrin {

namespace {

// The stack a thread's signal handlers run on, from prepareThisThread() to the thread's end.
class SignalStack {
public:
    SignalStack() {
        stack_t current{};
        if (::sigaltstack(nullptr, &current) != 0 || !(current.ss_flags & SS_DISABLE))
            return; // one is there already (a sanitizer's, the library that made the thread)
        const std::size_t size = std::max<std::size_t>(64 * 1024, SIGSTKSZ);
        memory_.reset(new char[size]); // untouched until a signal comes
        stack_t stack{};
        stack.ss_sp = memory_.get();
        stack.ss_size = size;
        if (::sigaltstack(&stack, nullptr) != 0)
            memory_.reset();
    }
    ~SignalStack() {
        if (!memory_)
            return;
        stack_t off{};
        off.ss_flags = SS_DISABLE;
        ::sigaltstack(&off, nullptr);
    }
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

private:
    std::unique_ptr<char[]> memory_;
};

} // namespace

void prepareThisThread() {
    thread_local SignalStack stack;
}

} // namespace tavrin
