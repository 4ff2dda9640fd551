#pragma once

#include <memory>

namespace tavrin {

// An element of another application's accessibility tree, opaque to the core.
class AccessibleElement {
public:
    virtual ~AccessibleElement() = default;
    // Same element of the same application.
    virtual bool equals(const AccessibleElement& other) const = 0;
};

// A shared handle on an element; compares by the element's own equality.
class AccessibleElementRef {
public:
    AccessibleElementRef(std::shared_ptr<const AccessibleElement> element = {}) : element_(std::move(element)) {}
    const AccessibleElement* get() const { return element_.get(); }
    const AccessibleElement* operator->() const { return element_.get(); }
    explicit operator bool() const { return element_ != nullptr; }
    bool operator==(const AccessibleElementRef& other) const {
        if (!element_ || !other.element_)
            return element_ == other.element_;
        return element_ == other.element_ || element_->equals(*other.element_);
    }

private:
    std::shared_ptr<const AccessibleElement> element_;
};

// A point on the screen, in the platform's global coordinates.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

} // namespace tavrin
