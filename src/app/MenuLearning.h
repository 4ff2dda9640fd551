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
class MenuLearning {
public:
    // Made and ended on the main thread; everything given must outlive the tasks it starts.
    MenuLearning(AppDelegate::AppStore& store, std::function<DatabaseManager&()> database,
                 const ApplicationMenus& menus, Executor& executor, MainQueue& mainQueue);
    ~MenuLearning();

private:
    void placeChanged(const AppDomain::State& state);

    AppDelegate::AppStore& store_;
    std::function<DatabaseManager&()> database_;
    const ApplicationMenus& menus_;
    Executor& executor_;
    MainQueue& mainQueue_;
    // The process last looked at per namespace, shared with the tasks: a process is looked at once.
    struct Looked {
        std::mutex mutex;
        std::map<std::string, int> process;
    };
    std::optional<std::string> front_; // the application namespace in front, when no site is
    std::shared_ptr<Looked> looked_ = std::make_shared<Looked>();
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    AppDelegate::AppStore::Observation observation_;
};

} // namespace tavrin
