#pragma once

namespace tavrin {

// Whether the program starts with the user's session.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    // Starts the program with the session, or stops doing so. Main thread; writes a small file.
    // False when that could not be set (the previous setting then stays).
    virtual bool setLoginItemEnabled(bool enabled) = 0;
};

} // namespace tavrin
