#pragma once

#include <string>

namespace tavrin {

// Opens addresses in the user's preferred application.
class UrlOpener {
public:
    virtual ~UrlOpener() = default;

    // Main thread; returns once the opening is handed over, without waiting for the browser. False
    // when no application could be asked to open `url`.
    virtual bool openUrl(const std::string& url) = 0;
};

} // namespace tavrin
