// The cheat sheet in the running application, inside scripts/virtual-desktop: Mousepad to click
// in, `tavrin` as its own process, its window read and pressed through the accessibility bus as
// a screen reader would, and measured with xwininfo and xprop. Screenshots go to the test
// artifacts folder.
#include <gtest/gtest.h>

#include <SQLiteCpp/SQLiteCpp.h>
#include <atspi/atspi.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <functional>
#include <optional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "support/TempDir.h"

namespace tavrin {
namespace {

// Moves, clicks and screenshots the cases go on without: a failure is only said.
void runCommand(const std::string& command) {
    if (std::system(command.c_str()) != 0)
        std::cerr << "command failed: " << command << "\n";
}

using namespace std::chrono_literals;

std::string capture(const std::string& command) {
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

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string firstLine(std::string text) {
    text.erase(std::min(text.find('\n'), text.size()));
    return text;
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
    std::string errors() const {
        std::ifstream in(err);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

std::string take(gchar* text) {
    std::string out = text ? text : "";
    g_free(text);
    return out;
}

// One node of the application's accessibility tree, with its screen rectangle.
struct Node {
    std::string role, name, description;
    int x = 0, y = 0, width = 0, height = 0;
    bool showing = false;
    bool contains(const Node& other) const {
        const int cy = other.y + other.height / 2;
        return cy >= y && cy < y + height;
    }
};

// The tree of the application with this process id, depth first. With `press`, presses (action
// 0) the first node for which it answers true.
std::vector<Node> accessibleTree(pid_t pid, const std::function<bool(const Node&)>& press = {}) {
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
                pressed = atspi_action_do_action(action, 0, &error);
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

std::vector<Node> withRole(const std::vector<Node>& nodes, const std::string& role) {
    std::vector<Node> out;
    for (const auto& node : nodes)
        if (node.role == role && node.width > 0)
            out.push_back(node);
    std::sort(out.begin(), out.end(), [](const Node& a, const Node& b) { return a.y < b.y; });
    return out;
}

// The first showing node with this name: Qt keeps hidden items in the tree.
const Node* named(const std::vector<Node>& nodes, const std::string& name) {
    for (const auto& node : nodes)
        if (node.name == name && node.showing)
            return &node;
    return nullptr;
}

struct Geometry {
    int x = -1, y = -1, width = -1, height = -1;
};
Geometry geometry(const std::string& window) {
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

struct CheatsheetDesktopTest : ::testing::Test {
    testing::TempDir dir;
    std::filesystem::path data = dir / "data";
    std::filesystem::path artifacts = env("TAVRIN_TEST_ARTIFACTS");
    std::string tavrin = env("TAVRIN_EXECUTABLE");
    Process editor, app;
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
        runCommand(("xdotool windowmove --sync " + editorWindow + " 0 0 >/dev/null 2>&1").c_str());
        const Geometry g = geometry(editorWindow);
        editorX = g.x;
        editorY = g.y;
        ASSERT_TRUE(waitUntil([&] { return !accessibleTree(editor.pid).empty(); }, 15s));
        Process setup = Process::start({tavrin, "setup", "--yes", "--data-dir", data.string()}, dir.path());
        ASSERT_EQ(setup.wait(60s), 0) << setup.errors();
        runCommand(("xdotool windowactivate --sync " + editorWindow + " >/dev/null 2>&1").c_str());
        app = Process::start({tavrin, "--data-dir", data.string()}, dir.path());
        window = firstLine(
            capture("timeout 20 xdotool search --sync --onlyvisible --pid " + std::to_string(app.pid) + " | head -1"));
        ASSERT_FALSE(window.empty()) << app.errors();
    }
    void TearDown() override {
        app.stop();
        editor.stop();
    }

    void click(int x, int y) {
        runCommand(("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) +
                    " mousedown 1 sleep 0.15 mouseup 1")
                       .c_str());
    }
    // File, then New: one click on the editor's mapped "New" item.
    void newDocumentFromTheMenu() {
        click(editorX + 20, editorY + 10);
        std::this_thread::sleep_for(400ms);
        click(editorX + 40, editorY + 35);
        std::this_thread::sleep_for(400ms);
    }
    std::string mark(const std::string& column, const std::string& action) {
        SQLite::Database db((data / "tavrin" / "db.sqlite").string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT IFNULL(s." + column +
                                        ", '') FROM shortcuts s JOIN actions a ON a.action_id = s.action_id "
                                        "WHERE a.name = ? AND s.namespace_id = 'app|mousepad'");
        query.bind(1, action);
        return query.executeStep() ? query.getColumn(0).getString() : "no such shortcut";
    }
    // Presses the button with this name on the card of `action`.
    bool pressOnCard(const std::string& action, const std::string& button) {
        std::optional<Node> card;
        for (const auto& node : withRole(accessibleTree(app.pid), "list item"))
            if (node.name == action)
                card = node;
        if (!card)
            return false;
        bool found = false;
        accessibleTree(app.pid, [&](const Node& n) {
            if (n.name == button && card->contains(n))
                found = true;
            return found;
        });
        return found;
    }
    bool press(const std::string& name) {
        return !accessibleTree(app.pid, [&](const Node& n) { return n.name == name; }).empty();
    }
    void screenshot(const std::string& name) {
        runCommand(("/usr/bin/import -window root " + (artifacts / name).string()).c_str());
    }
};

TEST_F(CheatsheetDesktopTest, CardsFollowTheClicksAndTheirButtonsChangeTheStore) {
    // Three clicks on the editor's New: the action comes first, with what learning it would save.
    for (int i = 0; i < 3; ++i)
        newDocumentFromTheMenu();
    std::vector<Node> cards;
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    })) << app.errors();
    EXPECT_LE(cards.size(), 5u);
    const std::string tooltip = cards.front().description;
    EXPECT_EQ(tooltip.rfind("Shortcut: New Document\nKeys: control + n\n\nPress the key combination to activate this "
                            "shortcut.\n\n💡 We noticed you frequently use this action!\n\nLearning this shortcut "
                            "could save you approximately ",
                            0),
              0u)
        << tooltip;
    EXPECT_NE(tooltip.find(" per year, if you maintain this frequency."), std::string::npos) << tooltip;

    auto tree = accessibleTree(app.pid);
    {
        std::ofstream dump(artifacts / "cheatsheet-desktop-tree.txt");
        for (const auto& n : tree)
            dump << n.role << " \"" << n.name << "\" " << n.x << "," << n.y << " " << n.width << "x" << n.height
                 << (n.showing ? "" : " hidden") << "\n";
    }
    EXPECT_TRUE(named(tree, "Mousepad")) << "the title names the editor";
    // The card's chips, and its three buttons named by their help.
    int chips = 0;
    for (const auto& node : tree)
        if ((node.name == "Ctrl" || node.name == "N") && cards.front().contains(node))
            ++chips;
    EXPECT_EQ(chips, 2);
    for (const char* button : {"Bookmark this Shortcut", "Mark as Learned", "Report Issue with Shortcut"}) {
        const Node* node = named(tree, button);
        ASSERT_TRUE(node) << button;
        EXPECT_EQ(node->role, "push button");
    }
    for (const char* control : {"Shrink", "Unpin", "Recommended", "Learned"})
        EXPECT_TRUE(named(tree, control)) << control;
    runCommand(("xdotool mousemove --sync " + std::to_string(cards.front().x + 60) + " " +
                std::to_string(cards.front().y + cards.front().height / 2))
                   .c_str());
    std::this_thread::sleep_for(1200ms);
    screenshot("cheatsheet-desktop-expanded.png");

    // Bookmarked through the window, as a screen reader presses it.
    EXPECT_EQ(mark("bookmarked_at", "New Document"), "");
    ASSERT_TRUE(pressOnCard("New Document", "Bookmark this Shortcut"));
    ASSERT_TRUE(waitUntil([&] { return !mark("bookmarked_at", "New Document").empty(); })) << app.errors();
    ASSERT_TRUE(waitUntil([&] { return pressOnCard("New Document", "Remove Bookmark"); }));
    ASSERT_TRUE(waitUntil([&] { return mark("bookmarked_at", "New Document").empty(); }));

    // Marked learned with the mouse: sent once the check has played, then listed as learned.
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    }));
    const Node card = cards.front();
    const Node* learn = nullptr;
    tree = accessibleTree(app.pid);
    for (const auto& node : tree)
        if (node.name == "Mark as Learned" && card.contains(node))
            learn = &node;
    ASSERT_TRUE(learn);
    runCommand(("xdotool mousemove --sync " + std::to_string(card.x + 40) + " " +
                std::to_string(card.y + card.height / 2) + " sleep 0.4")
                   .c_str());
    click(learn->x + learn->width / 2, learn->y + learn->height / 2);
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(mark("learned_at", "New Document"), "") << "sent only after the check has played";
    ASSERT_TRUE(waitUntil([&] { return !mark("learned_at", "New Document").empty(); }, 5s));
    ASSERT_TRUE(press("Learned"));
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    }));
    EXPECT_TRUE(named(accessibleTree(app.pid), "Remove fro m Learned"));
}

TEST_F(CheatsheetDesktopTest, ShrinkMovesTheWindowToTheCornerAndPinChangesItsLevel) {
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Shrink") != nullptr; }));
    const Geometry start = geometry(window);
    EXPECT_EQ(start.width, 400);
    EXPECT_EQ(start.height, 400);

    ASSERT_TRUE(press("Shrink"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Expand") != nullptr; }));
    Geometry g = geometry(window);
    EXPECT_EQ(g.width, 280);
    EXPECT_EQ(g.height, 296);
    // The frame's bottom right corner is the screen's (openbox draws 1 pixel at the right and 5
    // below the client).
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);
    EXPECT_FALSE(named(accessibleTree(app.pid), "Recommended")) << "no tabs when shrunken";
    screenshot("cheatsheet-desktop-shrunken.png");

    ASSERT_TRUE(press("Expand"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Shrink") != nullptr; }));
    g = geometry(window);
    EXPECT_EQ(g.width, 400);
    EXPECT_EQ(g.height, 400);
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);

    auto state = [&] { return capture("xprop -id " + window + " _NET_WM_STATE"); };
    EXPECT_NE(state().find("_NET_WM_STATE_ABOVE"), std::string::npos);
    ASSERT_TRUE(press("Unpin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") == std::string::npos; })) << state();
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Pin") != nullptr; }));
    ASSERT_TRUE(press("Pin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") != std::string::npos; })) << state();
}

} // namespace
} // namespace tavrin
