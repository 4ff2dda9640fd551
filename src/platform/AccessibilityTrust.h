#pragma once

namespace tavrin {

// Whether this program may read other applications' accessibility trees. Called on the main
// thread; both calls return within the platform layer's time-out.
class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;

    // False when the trust is not given or the question cannot be answered.
    virtual bool isTrusted() const = 0;
    // Asks for the trust (on Linux: switches accessibility on, which persists in the desktop
    // settings). Returns at once; the answer shows in later isTrusted() calls. Failures are logged
    // and leave isTrusted() false.
    virtual void promptForTrust() = 0;
};

} // namespace tavrin
