// `tavrin` as a user runs it, inside scripts/virtual-desktop: its own process next to Mousepad,
// read and pressed through the accessibility bus as a screen reader does, its tray menu read and
// clicked over D-Bus, its window measured with xwininfo and xprop. Screenshots go to the test
// artifacts folder.
#pragma once

#include <gtest/gtest.h>

#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>
#include <atspi/atspi.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/TempDir.h"

namespace tavrin::testing {

using namespace std::chrono_literals;

// Moves, clicks and screenshots the cases go on without: a failure is only said.
inline void runCommand(const std::string& command) {
    if (std::system(command.c_str()) != 0)
        std::cerr << "command failed: " << command << "\n";
}

inline std::string capture(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[512];
        while (std::fgets(buffer, sizeof buffer, pipe))
            out += buffer;
        ::pclose(pipe);
    }
    return out;
}

template <class Done> bool waitUntil(Done done, std::chrono::milliseconds limit = 10s) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

inline std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

inline std::string firstLine(std::string text) {
    text.erase(std::min(text.find('\n'), text.size()));
    return text;
}

inline std::string readText(const std::filesystem::path& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A program started by the test, its output in files, killed at the end if still running.
struct Process {
    pid_t pid = -1;
    std::filesystem::path out, err;

    static Process start(const std::vector<std::string>& argv, const std::filesystem::path& logs) {
        static int started = 0;
        Process p;
        const std::string name = std::filesystem::path(argv[0]).filename().string() + "-" + std::to_string(++started);
        p.out = logs / (name + ".out");
        p.err = logs / (name + ".err");
        p.pid = ::fork();
        if (p.pid == 0) {
            ::dup2(::open(p.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            ::dup2(::open(p.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            std::vector<char*> args;
            for (const auto& a : argv)
                args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        return p;
    }
    // The exit status, or -1 when it did not end in time or ended by a signal.
    int wait(std::chrono::milliseconds limit = 10s) {
        int status = -1;
        const bool ended = waitUntil([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, limit);
        if (!ended)
            return -1;
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void stop() {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
    std::string output() const { return readText(out); }
    std::string errors() const { return readText(err); }
};

inline std::string take(gchar* text) {
    std::string out = text ? text : "";
    g_free(text);
    return out;
}

// One node of an application's accessibility tree, with its screen rectangle.
struct Node {
    std::string role, name, description;
    int x = 0, y = 0, width = 0, height = 0;
    bool showing = false;
    bool contains(const Node& other) const {
        const int cy = other.y + other.height / 2;
        return cy >= y && cy < y + height;
    }
};

// The tree of the application with this process id, depth first. With `press`, presses the first
// showing node for which it answers true.
inline std::vector<Node> accessibleTree(pid_t pid, const std::function<bool(const Node&)>& press = {}) {
    static const bool initialised = (atspi_init(), atspi_set_timeout(2000, 5000), true);
    (void)initialised;
    std::vector<Node> nodes;
    bool pressed = false;
    std::function<void(AtspiAccessible*, int)> walk = [&](AtspiAccessible* node, int depth) {
        GError* error = nullptr;
        Node n;
        n.name = take(atspi_accessible_get_name(node, &error));
        g_clear_error(&error);
        n.description = take(atspi_accessible_get_description(node, &error));
        g_clear_error(&error);
        n.role = take(atspi_accessible_get_role_name(node, &error));
        g_clear_error(&error);
        if (AtspiComponent* component = atspi_accessible_get_component_iface(node)) {
            if (AtspiRect* r = atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, &error)) {
                n.x = r->x;
                n.y = r->y;
                n.width = r->width;
                n.height = r->height;
                g_free(r);
            }
            g_clear_error(&error);
            g_object_unref(component);
        }
        if (AtspiStateSet* states = atspi_accessible_get_state_set(node)) {
            n.showing = atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
            g_object_unref(states);
        }
        if (press && !pressed && n.showing && press(n))
            if (AtspiAction* action = atspi_accessible_get_action_iface(node)) {
                // "Press" is not always first: a menu item lists "SetFocus" before it.
                gint index = 0;
                for (gint i = atspi_action_get_n_actions(action, nullptr) - 1; i >= 0; --i)
                    if (take(atspi_action_get_action_name(action, i, nullptr)) == "Press")
                        index = i;
                pressed = atspi_action_do_action(action, index, &error);
                g_clear_error(&error);
                g_object_unref(action);
            }
        nodes.push_back(n);
        const gint count = depth < 16 ? atspi_accessible_get_child_count(node, &error) : 0;
        g_clear_error(&error);
        for (gint i = 0; i < count; ++i)
            if (AtspiAccessible* child = atspi_accessible_get_child_at_index(node, i, &error)) {
                walk(child, depth + 1);
                g_object_unref(child);
            }
        g_clear_error(&error);
    };
    AtspiAccessible* desktop = atspi_get_desktop(0);
    const gint apps = atspi_accessible_get_child_count(desktop, nullptr);
    for (gint i = 0; i < apps; ++i)
        if (AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr)) {
            if (atspi_accessible_get_process_id(app, nullptr) == static_cast<guint>(pid))
                walk(app, 0);
            g_object_unref(app);
        }
    g_object_unref(desktop);
    return nodes;
}

inline std::vector<Node> withRole(const std::vector<Node>& nodes, const std::string& role) {
    std::vector<Node> out;
    for (const auto& node : nodes)
        if (node.role == role && node.width > 0)
            out.push_back(node);
    std::sort(out.begin(), out.end(), [](const Node& a, const Node& b) { return a.y < b.y; });
    return out;
}

// The first showing node with this name: Qt keeps hidden items in the tree.
inline const Node* named(const std::vector<Node>& nodes, const std::string& name) {
    for (const auto& node : nodes)
        if (node.name == name && node.showing)
            return &node;
    return nullptr;
}

struct Geometry {
    int x = -1, y = -1, width = -1, height = -1;
};
inline Geometry geometry(const std::string& window) {
    const std::string info = capture("xwininfo -id " + window);
    Geometry g;
    auto read = [&](const char* label, int& value) {
        const auto at = info.find(label);
        if (at != std::string::npos)
            value = std::atoi(info.c_str() + at + std::strlen(label));
    };
    read("Absolute upper-left X:", g.x);
    read("Absolute upper-left Y:", g.y);
    read("Width:", g.width);
    read("Height:", g.height);
    return g;
}

inline std::string activeWindow() {
    const std::string out = capture("xprop -root _NET_ACTIVE_WINDOW");
    const auto at = out.find("0x");
    return at == std::string::npos ? "" : std::to_string(std::stoul(out.substr(at), nullptr, 16));
}

// An entry of the tray menu as com.canonical.dbusmenu gives it; ids change between runs, so
// entries are found by label.
struct TrayEntry {
    int id = 0;
    std::string label; // "---" for a separator
};

inline std::vector<TrayEntry> trayMenu(const std::string& service) {
    const std::string layout = capture("gdbus call --session --dest " + service +
                                       " --object-path /MenuBar --method com.canonical.dbusmenu.GetLayout -- 0 -1 "
                                       "'[]' 2>&1");
    std::vector<TrayEntry> entries;
    static const std::regex child(R"(<\((\d+), \{([^}]*)\})");
    static const std::regex label(R"('label': <'([^']*)'>)");
    for (auto it = std::sregex_iterator(layout.begin(), layout.end(), child); it != std::sregex_iterator(); ++it) {
        TrayEntry entry;
        entry.id = std::stoi((*it)[1]);
        const std::string properties = (*it)[2];
        std::smatch m;
        if (std::regex_search(properties, m, label))
            entry.label = m[1];
        else if (properties.find("'separator'") != std::string::npos)
            entry.label = "---";
        entries.push_back(entry);
    }
    return entries;
}

inline bool clickTrayEntry(const std::string& service, const std::string& label) {
    for (const auto& entry : trayMenu(service))
        if (entry.label == label)
            return std::system(("gdbus call --session --dest " + service +
                                " --object-path /MenuBar --method com.canonical.dbusmenu.Event -- " +
                                std::to_string(entry.id) + " clicked '<0>' 0 >/dev/null")
                                   .c_str()) == 0;
    return false;
}

// Mousepad at the top left, set up as a user's first run leaves it (`tavrin setup --yes` in a
// fresh data folder); `launch` then starts the application, with or without a tray.
struct RunningApplication : ::testing::Test {
    TempDir dir;
    std::filesystem::path data = dir / "data";
    std::filesystem::path artifacts = env("TAVRIN_TEST_ARTIFACTS");
    std::string tavrin = env("TAVRIN_EXECUTABLE");
    Process editor, watcher, app;
    std::string editorWindow, window;
    int editorX = 0, editorY = 0;

    void SetUp() override {
        ASSERT_FALSE(env("DISPLAY").empty()) << "run through scripts/virtual-desktop";
        ASSERT_FALSE(tavrin.empty()) << "TAVRIN_EXECUTABLE names the program under test";
        std::filesystem::create_directories(artifacts);
        editor = Process::start({"mousepad"}, dir.path());
        editorWindow = firstLine(capture("timeout 20 xdotool search --sync --onlyvisible --pid " +
                                         std::to_string(editor.pid) + " | head -1"));
        ASSERT_FALSE(editorWindow.empty());
        runCommand("xdotool windowmove --sync " + editorWindow + " 0 0 >/dev/null 2>&1");
        const Geometry g = geometry(editorWindow);
        editorX = g.x;
        editorY = g.y;
        ASSERT_TRUE(waitUntil([&] { return !accessibleTree(editor.pid).empty(); }, 15s));
        Process setup = Process::start({tavrin, "setup", "--yes", "--data-dir", data.string()}, dir.path());
        ASSERT_EQ(setup.wait(60s), 0) << setup.errors();
    }
    void TearDown() override {
        app.stop();
        watcher.stop();
        editor.stop();
    }

    // Starts the application with the editor in front; with a tray, the watcher comes first: Qt
    // looks for one only once.
    void launch(bool withTray) {
        if (withTray) {
            watcher = Process::start({env("TAVRIN_SNI_WATCHER")}, dir.path());
            ASSERT_TRUE(waitUntil([&] { return watcher.output().find("ready") != std::string::npos; }));
        }
        runCommand("xdotool windowactivate --sync " + editorWindow + " >/dev/null 2>&1");
        app = Process::start({tavrin, "--data-dir", data.string()}, dir.path());
        window = firstLine(
            capture("timeout 20 xdotool search --sync --onlyvisible --pid " + std::to_string(app.pid) + " | head -1"));
        ASSERT_FALSE(window.empty()) << app.errors();
    }
    // The tray item's bus name, once the application has registered it.
    std::string trayService() {
        std::string service;
        waitUntil([&] {
            std::istringstream lines(watcher.output());
            for (std::string word; lines >> word;)
                if (word == "item" && lines >> service)
                    return true;
            return false;
        });
        return service;
    }

    std::filesystem::path database() const { return data / "tavrin" / "db.sqlite"; }
    std::vector<std::pair<std::string, std::string>> clicks() const {
        SQLite::Database db(database().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT namespace_id, element_clicked FROM click_events ORDER BY event_id");
        std::vector<std::pair<std::string, std::string>> rows;
        while (query.executeStep())
            rows.emplace_back(query.getColumn(0).getString(), query.getColumn(1).getString());
        return rows;
    }

    void click(int x, int y) {
        runCommand("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) +
                   " mousedown 1 sleep 0.15 mouseup 1");
    }
    // File, then New: one click on the editor's mapped "New" item (and one on the menu's title).
    void newDocumentFromTheMenu() {
        click(editorX + 20, editorY + 10);
        std::this_thread::sleep_for(400ms);
        click(editorX + 40, editorY + 35);
        std::this_thread::sleep_for(400ms);
    }
    bool press(const std::string& name) {
        bool found = false;
        // Only a node with this name is pressed, never one that merely follows it.
        accessibleTree(app.pid, [&](const Node& n) {
            found = found || n.name == name;
            return n.name == name;
        });
        return found;
    }
    void screenshot(const std::string& name) {
        runCommand("/usr/bin/import -window root " + (artifacts / name).string());
    }
};

} // namespace tavrin::testing
