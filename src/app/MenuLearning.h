#pragma once

#include <functional>
#include <memory>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "app/AppDelegate.h"

namespace tavrin {

class ApplicationMenus;
class DatabaseManager;

// Learns from an application's own menus when it comes to the front: they are walked once per
// release of it (a new version may bring new items; an unchanged one walks nothing), on a worker
// and in short slices on the accessibility worker (a click's lookup waits one slice at most). For
// an application the catalogue lacks, every item that shows a shortcut worth teaching is learned;
// for one it has, only the keys its items show where they differ from the catalogue's are kept. The
// walk reads a process of the application the namespace stands for, whatever is in front by the
// time it starts, and a release counts as read only once every item of a whole walk is stored. The
// list is refreshed afterwards.
//
// GTK shows no shortcut for a disabled menu item (Save in an unmodified document, Undo, Copy
// without a selection). For an application the catalogue lacks, the walk keeps those items, with
// the place it found them, as pending; each later front of the application reads them again at
// their places (a few calls each), learns those now enabled with a shortcut and drops those
// enabled without one. When a place no longer holds its item, the process is walked whole once more.
class MenuLearning {
public:
    // Made and ended on the main thread; everything given must outlive the tasks it starts.
    MenuLearning(AppDelegate::AppStore& store, std::function<DatabaseManager&()> database,
                 const ApplicationMenus& menus, Executor& executor, MainQueue& mainQueue);
    ~MenuLearning();

    // For a click on a button of process `pid`, which the normalised name `app` names: reads again
    // the pending menu items of `namespaceId` that the button's name (`value`) stands for ("Save"
    // for the item "Save" or "Save..."), and learns those that show their shortcut now, so the
    // click itself counts as the action. True when one was stored. Nothing is read for a process of
    // another application or a name no pending item has (one query). Off the main thread: it
    // waits on the application, a few calls per item.
    static bool learnPendingItems(DatabaseManager& database, const ApplicationMenus& menus,
                                  const std::string& namespaceId, const std::string& app, int pid,
                                  const std::string& value);

private:
    void placeChanged(const AppDomain::State& state);

    AppDelegate::AppStore& store_;
    std::function<DatabaseManager&()> database_;
    const ApplicationMenus& menus_;
    Executor& executor_;
    MainQueue& mainQueue_;
    // The process last looked at per namespace, shared with the tasks: a process's release is
    // looked at once, and it is walked once at most.
    struct Seen {
        int pid = 0;
        bool walked = false;
    };
    struct Looked {
        std::mutex mutex;
        std::map<std::string, Seen> process;
    };
    std::optional<std::string> front_; // the application namespace in front, when no site is
    std::shared_ptr<Looked> looked_ = std::make_shared<Looked>();
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    AppDelegate::AppStore::Observation observation_;
};

} // namespace tavrin
