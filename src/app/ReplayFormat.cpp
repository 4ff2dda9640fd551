#include "app/ReplayFormat.h"

#include <nlohmann/json.hpp>

#include "foundation/JsonFields.h"

namespace tavrin::replay {

namespace {

using json = nlohmann::json;

std::uint64_t parseFlags(const json& flags) {
    if (!flags.is_array())
        throw ReplayError{"\"flags\" must be an array"};
    std::uint64_t mask = 0;
    for (const auto& flag : flags) {
        const std::string name = flag.is_string() ? flag.get<std::string>() : "";
        if (name == "command")
            mask |= ModifierFlags::command;
        else if (name == "control")
            mask |= ModifierFlags::control;
        else if (name == "option")
            mask |= ModifierFlags::option;
        else if (name == "shift")
            mask |= ModifierFlags::shift;
        else
            throw ReplayError{"unknown modifier " + flag.dump() + " (use command, control, option or shift)"};
    }
    return mask;
}

Front parseFront(const json& value) {
    if (!value.is_object())
        throw ReplayError{"\"front\" must be an object"};
    Front front{stringField(value, "app"), {}, std::nullopt};
    if (value.contains("pid")) {
        if (!value["pid"].is_number_integer())
            throw ReplayError{"\"pid\" must be an integer"};
        front.pid = value["pid"].get<int>();
    }
    if (value.contains("windows")) {
        const auto& windows = value["windows"];
        if (!windows.is_array())
            throw ReplayError{"\"windows\" must be an array"};
        for (const auto& window : windows) {
            if (!window.is_object())
                throw ReplayError{"each window must be an object"};
            WindowInfo info;
            if (window.contains("owner") && window["owner"].is_string())
                info.owner = window["owner"].get<std::string>();
            if (window.contains("title") && window["title"].is_string())
                info.name = window["title"].get<std::string>();
            front.windows.push_back(std::move(info));
        }
    }
    return front;
}

Click parseClick(const json& value) {
    if (!value.is_object())
        throw ReplayError{"\"click\" must be an object"};
    Click click;
    const auto button = stringField(value, "button");
    if (button == "left")
        click.button = MouseButton::left;
    else if (button == "right")
        click.button = MouseButton::right;
    else if (button == "side")
        click.button = MouseButton::other;
    else
        throw ReplayError{"\"button\" must be \"left\", \"right\" or \"side\""};
    if (value.contains("synthetic"))
        click.synthetic = boolField(value, "synthetic");
    if (value.contains("foundBy")) {
        const auto foundBy = elementFindingFromRaw(stringField(value, "foundBy"));
        if (!foundBy)
            throw ReplayError{"\"foundBy\" must be \"hit test\", \"menu selection\", \"toggle\", \"tab\" or "
                              "\"focus\""};
        click.foundBy = *foundBy;
    }
    // An element found without a point needs none.
    if (click.foundBy == ElementFinding::hitTest || value.contains("x") || value.contains("y"))
        click.point = {numberField(value, "x"), numberField(value, "y")};
    const auto& target = field(value, "target");
    if (target.is_null()) {
        if (click.foundBy != ElementFinding::hitTest)
            throw ReplayError{"a click found by \"" + std::string(rawValue(click.foundBy)) + "\" needs its \"target\""};
        return click;
    }
    if (!target.is_object())
        throw ReplayError{"\"target\" must be a tree or null"};
    click.hit = stringField(target, "hit");
    const auto& nodes = field(target, "nodes");
    if (!nodes.is_object())
        throw ReplayError{"\"nodes\" must be an object"};
    click.tree = std::make_shared<RecordedTree>();
    for (auto it = nodes.begin(); it != nodes.end(); ++it) {
        if (!it->is_object())
            throw ReplayError{"node \"" + it.key() + "\" must be an object"};
        auto node = std::make_shared<RecordedElement>();
        node->tree = &click.tree->nodes;
        if (it->contains("pid")) {
            if (!(*it)["pid"].is_number_integer())
                throw ReplayError{"node \"" + it.key() + "\": \"pid\" must be an integer"};
            node->pid = (*it)["pid"].get<int>();
        }
        if (it->contains("attrs")) {
            const auto& attrs = (*it)["attrs"];
            if (!attrs.is_object())
                throw ReplayError{"node \"" + it.key() + "\": \"attrs\" must be an object"};
            for (auto a = attrs.begin(); a != attrs.end(); ++a)
                node->attributes[a.key()] = a->is_string() ? std::optional(a->get<std::string>()) : std::nullopt;
        }
        if (it->contains("children")) {
            for (const auto& child : (*it)["children"]) {
                if (!child.is_string())
                    throw ReplayError{"node \"" + it.key() + "\": children are node names"};
                node->children.push_back(child.get<std::string>());
            }
        }
        if (it->contains("parent") && (*it)["parent"].is_string())
            node->parentId = (*it)["parent"].get<std::string>();
        click.tree->nodes[it.key()] = node;
    }
    if (!click.tree->nodes.count(click.hit))
        throw ReplayError{"\"hit\" names no node"};
    for (const auto& [id, node] : click.tree->nodes) {
        for (const auto& child : node->children)
            if (!click.tree->nodes.count(child))
                throw ReplayError{"node \"" + id + "\" has an unknown child \"" + child + "\""};
        if (node->parentId && !click.tree->nodes.count(*node->parentId))
            throw ReplayError{"node \"" + id + "\" has an unknown parent \"" + *node->parentId + "\""};
    }
    return click;
}

Key parseKey(const json& value) {
    if (!value.is_object())
        throw ReplayError{"\"key\" must be an object"};
    KeyEvent event;
    const auto type = stringField(value, "type");
    if (type == "down")
        event.type = KeyEvent::Type::keyDown;
    else if (type == "up")
        event.type = KeyEvent::Type::keyUp;
    else if (type == "flags")
        event.type = KeyEvent::Type::flagsChanged;
    else
        throw ReplayError{"key \"type\" must be \"down\", \"up\" or \"flags\""};
    if (value.contains("chars") && value["chars"].is_string())
        event.characters = value["chars"].get<std::string>();
    if (value.contains("flags"))
        event.modifierFlags = parseFlags(value["flags"]);
    if (value.contains("repeat"))
        event.isRepeat = boolField(value, "repeat");
    return {event};
}

FTUEDomain::Action parseFTUEAction(const std::string& name, const json& payload) {
    using namespace FTUEDomain;
    if (name == "setUserRole") {
        const auto role = userRoleFromRaw(stringField(payload, "role"));
        if (!role)
            throw ReplayError{"unknown role"};
        return setUserRole{*role};
    }
    if (name == "toggleFrequentApp") {
        const auto app = appTypeFromRaw(stringField(payload, "app"));
        if (!app)
            throw ReplayError{"unknown app type"};
        return toggleFrequentApp{*app};
    }
    static const std::map<std::string, FTUEDomain::Action> plain = {
        {"nextStep", nextStep{}},
        {"previousStep", previousStep{}},
        {"calculateTimeSavings", calculateTimeSavings{}},
        {"grantPermissions", grantPermissions{}},
        {"startFirstChallenge", startFirstChallenge{}},
        {"finishFTUE", finishFTUE{}},
        {"requestAccessibilityPermission", requestAccessibilityPermission{}},
        {"requestScreenRecordingPermission", requestScreenRecordingPermission{}},
        {"incrementCommandRCounter", incrementCommandRCounter{}},
        {"toggleDataShareAgreement", toggleDataShareAgreement{}},
    };
    const auto it = plain.find(name);
    if (it == plain.end())
        throw ReplayError{"unknown first-run action \"" + name + "\""};
    return it->second;
}

AppDomain::Action parseAction(const json& value) {
    using namespace AppDomain;
    if (!value.is_object() || value.size() != 1)
        throw ReplayError{"\"action\" must be an object with one action name"};
    const std::string name = value.begin().key();
    const json& payload = value.begin().value();
    if (!payload.is_object())
        throw ReplayError{"the payload of \"" + name + "\" must be an object"};
    if (name == "toggleShortcutBookmark")
        return toggleShortcutBookmark{integerField(payload, "id")};
    if (name == "toggleShortcutLearned")
        return toggleShortcutLearned{integerField(payload, "id")};
    if (name == "flagShortcut")
        return flagShortcut{integerField(payload, "id")};
    if (name == "categoryChanged") {
        const auto category = shortcutCategoryFromRaw(stringField(payload, "category"));
        if (!category)
            throw ReplayError{"\"category\" must be \"Recommended\" or \"Learned\""};
        return categoryChanged{*category};
    }
    if (name == "toggleFloatingMode")
        return toggleFloatingMode{boolField(payload, "isFloating")};
    if (name == "toggleLaunchAtLogin")
        return toggleLaunchAtLogin{boolField(payload, "enabled")};
    if (name == "snoozeShortcut")
        return snoozeShortcut{};
    if (name == "pauseCounting") {
        if (!payload.contains("minutes"))
            return pauseCounting{};
        const auto minutes = integerField(payload, "minutes");
        if (minutes <= 0)
            throw ReplayError{"\"minutes\" must be a positive whole number"};
        return pauseCounting{minutes};
    }
    if (name == "resumeCounting")
        return resumeCounting{};
    if (name == "dismissNudge")
        return dismissNudge{integerField(payload, "id")};
    if (name == "suppressNudges")
        return suppressNudges{integerField(payload, "id")};
    if (name == "declineGraduation")
        return declineGraduation{integerField(payload, "id")};
    if (name == "toggleNudgeNotifications")
        return toggleNudgeNotifications{boolField(payload, "enabled")};
    if (name == "ftue") {
        if (payload.size() != 1)
            throw ReplayError{"\"ftue\" must hold one first-run action"};
        const auto& inner = payload.begin().value();
        return ftue{parseFTUEAction(payload.begin().key(), inner.is_object() ? inner : json::object())};
    }
    throw ReplayError{"unknown action \"" + name + "\""};
}

} // namespace

Event parseLine(const std::string& line, double previousAt) {
    const json value = json::parse(line, nullptr, false);
    if (value.is_discarded())
        throw ReplayError{"not valid JSON"};
    if (!value.is_object())
        throw ReplayError{"each line must be a JSON object"};
    const double at = numberField(value, "at");
    if (at < 0)
        throw ReplayError{"\"at\" must not be negative"};
    if (at < previousAt)
        throw ReplayError{"\"at\" goes back in time"};
    std::vector<std::string> kinds;
    for (auto it = value.begin(); it != value.end(); ++it)
        if (it.key() != "at")
            kinds.push_back(it.key());
    if (kinds.empty())
        return {at, Tick{}};
    if (kinds.size() > 1)
        throw ReplayError{"one event per line, found \"" + kinds[0] + "\" and \"" + kinds[1] + "\""};
    const auto& kind = kinds.front();
    const auto& body = value[kind];
    if (kind == "onboarded") {
        if (!body.is_boolean())
            throw ReplayError{"\"onboarded\" must be true or false"};
        if (at != 0)
            throw ReplayError{"\"onboarded\" describes the start: use \"at\": 0"};
        return {at, body.get<bool>() ? Payload(Onboarded{}) : Payload(Tick{})};
    }
    if (kind == "trusted") {
        if (!body.is_boolean())
            throw ReplayError{"\"trusted\" must be true or false"};
        return {at, Trusted{body.get<bool>()}};
    }
    if (kind == "front")
        return {at, parseFront(body)};
    if (kind == "click")
        return {at, parseClick(body)};
    if (kind == "key")
        return {at, parseKey(body)};
    if (kind == "action")
        return {at, SendAction{parseAction(body)}};
    if (kind == "suspend") {
        if (!body.is_object())
            throw ReplayError{"\"suspend\" must be an object with \"days\" or \"hours\""};
        double hours = 0;
        for (auto it = body.begin(); it != body.end(); ++it) {
            if (!it->is_number() || it->get<double>() < 0 || (it.key() != "days" && it.key() != "hours"))
                throw ReplayError{"\"suspend\" takes \"days\" and \"hours\", not negative"};
            hours += it->get<double>() * (it.key() == "days" ? 24 : 1);
        }
        return {at, Suspend{Duration(hours * 3600)}};
    }
    throw ReplayError{"unknown event \"" + kind + "\""};
}

} // namespace tavrin::replay
