#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

class AccessibleElementRef;

// What reading one attribute gave: a string, or a value of another kind (a number, a reference,
// an array), which the analysis ignores.
struct AttributeValue {
    std::optional<std::string> text; // absent for a value that is not a string
    static AttributeValue string(std::string value) { return {std::move(value)}; }
    static AttributeValue nonString() { return {}; }
};

// An element of another application's accessibility tree. Attribute names are the canonical
// ones: "AXTitle", "AXDescription", "AXRoleDescription", "AXValue", "AXHelp", "AXIdentifier",
// "AXRole". Calls may block on the other application (bounded by the platform layer's time-outs)
// and must be made off the main thread. Every failure reads as "no value".
class AccessibleElement {
public:
    virtual ~AccessibleElement() = default;
    // No value when the attribute is missing or the read failed.
    virtual std::optional<AttributeValue> attribute(std::string_view name) const = 0;
    // The first of the element's children; no value when it has none or the read failed.
    virtual std::optional<AccessibleElementRef> firstChild() const = 0;
    // No value for a root or when the read failed.
    virtual std::optional<AccessibleElementRef> parent() const = 0;
    // The process that owns the element; no value when unknown.
    virtual std::optional<int> processId() const = 0;
    // Same element of the same application.
    virtual bool equals(const AccessibleElement& other) const = 0;
};

// A shared handle on an element; compares by the element's own equality.
class AccessibleElementRef {
public:
    AccessibleElementRef() = default;
    template <class Element> AccessibleElementRef(std::shared_ptr<Element> element) : element_(std::move(element)) {}
    const AccessibleElement* get() const { return element_.get(); }
    const AccessibleElement* operator->() const { return element_.get(); }
    const AccessibleElement& operator*() const { return *element_; }
    explicit operator bool() const { return element_ != nullptr; }
    bool operator==(const AccessibleElementRef& other) const {
        if (!element_ || !other.element_)
            return element_ == other.element_;
        return element_ == other.element_ || element_->equals(*other.element_);
    }

private:
    std::shared_ptr<const AccessibleElement> element_;
};

} // namespace tavrin
