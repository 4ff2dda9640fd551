// The private desktop of scripts/virtual-desktop as the end-to-end tests drive it: programs
// started and waited for, their windows moved, raised and clicked with xdotool, their controls
// read and pressed through the accessibility bus as a screen reader does, window geometry from
// xwininfo and xprop, the tray menu over D-Bus, and screenshots. Every wait polls for its state,
// with a limit.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atspi/atspi.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <SQLiteCpp/SQLiteCpp.h>

#include "support/TempDir.h"

namespace tavrin::testing {

using namespace std::chrono_literals;

// Standard output of a shell command.
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

// A shell command the test goes on without; a failure is said.
inline bool runCommand(const std::string& command) {
    const bool ok = std::system(command.c_str()) == 0;
    if (!ok)
        std::cerr << "command failed: " << command << "\n";
    return ok;
}

// Polls `done` until it holds or `limit` passes.
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

// The clicks stored in a database file, oldest first: (namespace, what the click counted as).
inline std::vector<std::pair<std::string, std::string>> storedClicks(const std::filesystem::path& database) {
    SQLite::Database db(database.string(), SQLite::OPEN_READONLY);
    SQLite::Statement query(db, "SELECT namespace_id, element_clicked FROM click_events ORDER BY event_id");
    std::vector<std::pair<std::string, std::string>> rows;
    while (query.executeStep())
        rows.emplace_back(query.getColumn(0).getString(), query.getColumn(1).getString());
    return rows;
}

inline void screenshot(const std::filesystem::path& file) {
    runCommand("/usr/bin/import -window root " + file.string());
}

// A program started by the test, its output in files under `logs` (or dropped), killed at the end
// if still running.
struct Process {
    pid_t pid = -1;
    std::filesystem::path out, err;

    static Process start(const std::vector<std::string>& argv, const std::filesystem::path& logs = {},
                         const std::vector<std::string>& environment = {}) {
        static int started = 0;
        Process p;
        const auto name = std::filesystem::path(argv[0]).filename().string() + "-" + std::to_string(++started);
        p.out = logs.empty() ? "/dev/null" : logs / (name + ".out");
        p.err = logs.empty() ? "/dev/null" : logs / (name + ".err");
        p.pid = ::fork();
        if (p.pid == 0) {
            ::dup2(::open(p.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            ::dup2(::open(p.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            for (const auto& variable : environment)
                ::putenv(const_cast<char*>(variable.c_str()));
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
        if (!waitUntil([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, limit))
            return -1;
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void stop() {
        if (pid > 0) {
            ::kill(pid, SIGCONT);
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
    std::string output() const { return readText(out); }
    std::string errors() const { return readText(err); }
};

// A press and release of the left button at a screen point, held as a hand holds it: a menu
// closes on release and takes its item with it.
inline void clickAt(int x, int y, std::chrono::milliseconds hold = 150ms) {
    runCommand("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) + " mousedown 1 sleep " +
               std::to_string(hold.count() / 1000.0) + " mouseup 1");
}

// A top-level window of the private desktop, at the position of its client area.
struct Window {
    std::string id;
    int x = 0, y = 0;

    // The first visible window of the process, or of the class (a launcher's server shows it).
    static Window find(pid_t pid, const std::string& windowClass = {}) {
        const auto search = windowClass.empty() ? "--pid " + std::to_string(pid) : "--class " + windowClass;
        Window w{firstLine(capture("timeout 20 xdotool search --sync --onlyvisible " + search + " 2>/dev/null"))};
        w.locate();
        return w;
    }
    // Moves the frame; the client lands a title bar lower.
    void moveTo(int left, int top) {
        runCommand("xdotool windowmove --sync " + id + " " + std::to_string(left) + " " + std::to_string(top) +
                   " >/dev/null 2>&1");
        locate();
    }
    void activate() const { runCommand("xdotool windowactivate --sync " + id + " >/dev/null 2>&1"); }
    void click(int dx, int dy, std::chrono::milliseconds hold = 150ms) const { clickAt(x + dx, y + dy, hold); }
    pid_t pid() const { return std::atoi(capture("xdotool getwindowpid " + id + " 2>/dev/null").c_str()); }

    struct Geometry {
        int x = -1, y = -1, width = -1, height = -1;
    };
    // The client area as xwininfo gives it under the reparenting window manager.
    Geometry geometry() const {
        const std::string info = capture("xwininfo -id " + id + " 2>/dev/null");
        Geometry g;
        const auto read = [&](const char* label, int& value) {
            if (const auto at = info.find(label); at != std::string::npos)
                value = std::atoi(info.c_str() + at + std::strlen(label));
        };
        read("Absolute upper-left X:", g.x);
        read("Absolute upper-left Y:", g.y);
        read("Width:", g.width);
        read("Height:", g.height);
        return g;
    }
    std::string properties(const std::string& names) const { return capture("xprop -id " + id + " " + names); }

private:
    void locate() {
        if (id.empty())
            return;
        const Geometry g = geometry();
        x = g.x;
        y = g.y;
    }
};

// The window in front, as a decimal id.
inline std::string activeWindow() {
    const std::string out = capture("xprop -root _NET_ACTIVE_WINDOW");
    const auto at = out.find("0x");
    return at == std::string::npos ? "" : std::to_string(std::stoul(out.substr(at), nullptr, 16));
}

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
    std::pair<int, int> centre() const { return {x + width / 2, y + height / 2}; }
};

// The tree of the application with this process id, depth first. With `press`, presses the first
// showing node for which it answers true.
inline std::vector<Node> accessibleTree(pid_t pid, const std::function<bool(const Node&)>& press = {}) {
    static const bool initialised = (atspi_init(), atspi_set_timeout(2000, 5000), true);
    (void)initialised;
    std::vector<Node> nodes;
    bool pressed = false;
    std::function<void(AtspiAccessible*, int)> walk = [&](AtspiAccessible* node, int depth) {
        Node n;
        n.name = take(atspi_accessible_get_name(node, nullptr));
        n.description = take(atspi_accessible_get_description(node, nullptr));
        n.role = take(atspi_accessible_get_role_name(node, nullptr));
        if (AtspiComponent* component = atspi_accessible_get_component_iface(node)) {
            if (AtspiRect* r = atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, nullptr)) {
                n.x = r->x;
                n.y = r->y;
                n.width = r->width;
                n.height = r->height;
                g_free(r);
            }
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
                pressed = atspi_action_do_action(action, index, nullptr);
                g_object_unref(action);
            }
        nodes.push_back(n);
        const gint count = depth < 16 ? atspi_accessible_get_child_count(node, nullptr) : 0;
        for (gint i = 0; i < count; ++i)
            if (AtspiAccessible* child = atspi_accessible_get_child_at_index(node, i, nullptr)) {
                walk(child, depth + 1);
                g_object_unref(child);
            }
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

// The showing nodes of a role, top to bottom.
inline std::vector<Node> withRole(const std::vector<Node>& nodes, const std::string& role) {
    std::vector<Node> out;
    for (const auto& node : nodes)
        if (node.role == role && node.width > 0 && node.showing)
            out.push_back(node);
    std::sort(out.begin(), out.end(), [](const Node& a, const Node& b) { return a.y < b.y; });
    return out;
}

// The first showing node with this name (and role): Qt keeps hidden items in the tree.
inline std::optional<Node> named(const std::vector<Node>& nodes, const std::string& name,
                                 const std::string& role = {}) {
    for (const auto& node : nodes)
        if (node.name == name && node.showing && (role.empty() || node.role == role))
            return node;
    return std::nullopt;
}

// The last showing node of `role` named `name` (a popup comes after what it covers), once it
// shows. GTK pads the names of menu items.
inline std::optional<Node> waitForNode(pid_t pid, const std::string& role, const std::string& name,
                                       std::chrono::milliseconds limit = 10s) {
    std::optional<Node> found;
    waitUntil(
        [&] {
            for (const Node& node : accessibleTree(pid))
                if (node.showing && node.role == role && node.width > 0 &&
                    node.name.substr(0, node.name.find_last_not_of(' ') + 1) == name)
                    found = node;
            return found.has_value();
        },
        limit);
    return found;
}

// Presses the first showing node with this name, once it shows; false when none did.
inline bool pressNamed(pid_t pid, const std::string& name, std::chrono::milliseconds limit = 10s) {
    return waitUntil(
        [&] {
            bool found = false;
            accessibleTree(pid, [&](const Node& n) {
                found = found || n.name == name;
                return n.name == name;
            });
            return found;
        },
        limit);
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
        TrayEntry entry{std::stoi((*it)[1]), ""};
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
            return runCommand("gdbus call --session --dest " + service +
                              " --object-path /MenuBar --method com.canonical.dbusmenu.Event -- " +
                              std::to_string(entry.id) + " clicked '<0>' 0 >/dev/null");
    return false;
}

// A program with a window, started for the tests and placed at the top left of the screen (or
// where `moveTo` puts it), on the accessibility bus before it is used.
struct Application {
    Process process;
    Window window;

    static Application start(const std::vector<std::string>& argv, const std::vector<std::string>& environment = {},
                             const std::string& windowClass = {}) {
        Application app{Process::start(argv, {}, environment), {}};
        app.window = Window::find(app.process.pid, windowClass);
        if (!windowClass.empty() && !app.window.id.empty()) {
            app.process.wait(); // the launcher is done once its server shows the window
            app.process.pid = app.window.pid();
        }
        if (!app.window.id.empty())
            app.window.moveTo(0, 0);
        return app;
    }
    pid_t pid() const { return process.pid; }
    bool onTheBus(std::chrono::milliseconds limit = 15s) const {
        return waitUntil([&] { return !accessibleTree(pid()).empty(); }, limit);
    }
    // Windows of the program that show: its main window, and a menu's popup while it is open.
    std::size_t windowsShowing() const {
        std::istringstream ids(capture("xdotool search --onlyvisible --pid " + std::to_string(pid()) + " 2>/dev/null"));
        return std::distance(std::istream_iterator<std::string>(ids), std::istream_iterator<std::string>());
    }
    // Opens the menu titled `title` (a menu, or a Qt menu bar's item) and waits for its `item`, or
    // without one for its popup; nothing when either never shows.
    std::optional<Node> openMenu(const std::string& title, const std::string& item = {},
                                 std::chrono::milliseconds hold = 150ms) const {
        // A GTK menu title is a "menu", a Qt one a "menu item". An application just started, or
        // busy answering Tavrin's walk of its menus, may take seconds to show either.
        std::optional<Node> at;
        waitUntil(
            [&] {
                for (const Node& node : accessibleTree(pid()))
                    if (node.showing && node.width > 0 && (node.role == "menu" || node.role == "menu item") &&
                        node.name.substr(0, node.name.find_last_not_of(' ') + 1) == title &&
                        (!at || node.role == "menu"))
                        at = node;
                return at.has_value();
            },
            10s);
        if (!at)
            return std::nullopt;
        clickAt(at->centre().first, at->centre().second, hold);
        if (item.empty())
            return waitUntil([&] { return windowsShowing() > 1; }) ? at : std::nullopt;
        return waitForNode(pid(), "menu item", item);
    }
    void stop() { process.stop(); }
};

// `tavrin` as a user runs it, in a process of its own: set up as a user's first run leaves it
// (`tavrin setup --yes` in a fresh data folder), Mousepad at the top left and in front, then
// started with or without a tray (tavrin_sni_watcher). Its output and screenshots go to the test
// artifacts folder.
struct RunningTavrin : ::testing::Test {
    TempDir dir;
    std::filesystem::path data = dir / "data";
    std::filesystem::path artifacts = env("TAVRIN_TEST_ARTIFACTS");
    std::string tavrin = env("TAVRIN_EXECUTABLE");
    Application editor;
    Process watcher, app;
    Window window;

    void SetUp() override {
        ASSERT_FALSE(env("DISPLAY").empty()) << "run through scripts/virtual-desktop";
        ASSERT_FALSE(tavrin.empty()) << "TAVRIN_EXECUTABLE names the program under test";
        std::filesystem::create_directories(artifacts);
        editor = Application::start({"mousepad"});
        ASSERT_FALSE(editor.window.id.empty());
        ASSERT_TRUE(editor.onTheBus());
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
        editor.window.activate();
        app = Process::start({tavrin, "--data-dir", data.string()}, dir.path());
        window = Window::find(app.pid);
        ASSERT_FALSE(window.id.empty()) << app.errors();
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
    std::vector<std::pair<std::string, std::string>> clicks() const { return storedClicks(database()); }
    // File, then New in the editor: two clicks, on the menu's title and on the mapped "New".
    void newDocumentFromTheMenu() {
        const auto item = editor.openMenu("File", "New");
        ASSERT_TRUE(item) << "Mousepad's File, New";
        clickAt(item->centre().first, item->centre().second);
    }
    void screenshot(const std::string& name) { testing::screenshot(artifacts / name); }
};

} // namespace tavrin::testing
