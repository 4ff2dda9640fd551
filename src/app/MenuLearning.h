#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "app/AppDelegate.h"

namespace tavrin {

class ApplicationMenus;
class DatabaseManager;

// Learns the shortcuts of an application the catalogue lacks from its own menus: when it comes
// to the front and its namespace has no shortcut at all, its menus are walked once, on a worker
// and in short slices on the accessibility worker (a click's lookup waits one slice at most), and
// every item that shows a shortcut worth teaching is learned. The list is refreshed afterwards.
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
    std::set<std::string> walked_; // namespaces walked in this session
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    AppDelegate::AppStore::Observation observation_;
};

} // namespace tavrin
