#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/AccessibleElement.h"

namespace tavrin::testing {

// An accessibility tree in memory. Attributes hold a string or, for any other kind of value,
// nothing; missing keys are missing attributes.
class FakeElement final : public AccessibleElement, public std::enable_shared_from_this<FakeElement> {
public:
    std::map<std::string, std::optional<std::string>> attributes;
    std::shared_ptr<FakeElement> child;
    std::weak_ptr<FakeElement> parentElement;
    bool parentIsSelf = false;
    int pid = 42;

    static std::shared_ptr<FakeElement> make(std::map<std::string, std::optional<std::string>> attributes = {}) {
        auto element = std::make_shared<FakeElement>();
        element->attributes = std::move(attributes);
        return element;
    }
    // Makes `c` this element's first child and this its parent.
    std::shared_ptr<FakeElement> adopt(std::shared_ptr<FakeElement> c) {
        child = c;
        c->parentElement = shared_from_this();
        return c;
    }

    std::optional<AttributeValue> attribute(std::string_view name) const override {
        auto it = attributes.find(std::string(name));
        if (it == attributes.end())
            return std::nullopt;
        return it->second ? AttributeValue::string(*it->second) : AttributeValue::nonString();
    }
    std::optional<AccessibleElementRef> firstChild() const override {
        if (!child)
            return std::nullopt;
        return AccessibleElementRef(child);
    }
    std::optional<AccessibleElementRef> parent() const override {
        if (parentIsSelf)
            return AccessibleElementRef(std::const_pointer_cast<FakeElement>(shared_from_this()));
        if (auto p = parentElement.lock())
            return AccessibleElementRef(p);
        return std::nullopt;
    }
    std::optional<int> processId() const override { return pid; }
    bool equals(const AccessibleElement& other) const override { return this == &other; }
};

} // namespace tavrin::testing
