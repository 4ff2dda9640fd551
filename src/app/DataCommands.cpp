#include "app/DataCommands.h"

#include <ctime>
#include <iomanip>
#include <istream>
#include <ostream>
#include <sstream>

#include "State/AppDomain.h"
#include "State/FTUEDomain.h"
#include "State/Pause.h"
#include "foundation/Folders.h"
#include "foundation/Uuid.h"
#include "app/AppDelegate.h"
#include "app/StateJson.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"

namespace tavrin {

namespace {

// "14:05" in the local time zone, with the date when it is not today.
std::string localTime(Date date, Date now) {
    const auto seconds = [](Date d) { return std::chrono::system_clock::to_time_t(d); };
    const std::time_t when = seconds(date), today = seconds(now);
    std::tm at{}, current{};
    localtime_r(&when, &at);
    localtime_r(&today, &current);
    std::ostringstream text;
    if (at.tm_yday != current.tm_yday || at.tm_year != current.tm_year)
        text << std::put_time(&at, "%Y-%m-%d ");
    text << std::put_time(&at, "%H:%M");
    return text.str();
}

std::optional<Pause> storedPause(StoredData& data) {
    const auto value = data.defaults.object(Pause::defaultsKey);
    if (!value)
        return std::nullopt;
    auto pause = Pause::fromStored(*value);
    if (pause && pause->isOver(data.clock.now()))
        return std::nullopt;
    return pause;
}

std::string describePause(const std::optional<Pause>& pause, Date now) {
    if (!pause)
        return "counting";
    if (!pause->until)
        return "paused until you resume it (tavrin resume)";
    return "paused until " + localTime(*pause->until, now);
}

std::optional<FTUEDomain::CodableState> storedFirstRun(StoredData& data) {
    return FTUEDomain::CodableState::fromStored(data.defaults.object(FTUEDomain::CodableState::defaultsKey));
}

std::string percent(std::int64_t part, std::int64_t whole) {
    if (whole == 0)
        return "-";
    return std::to_string((part * 100 + whole / 2) / whole) + "%";
}

std::string count(std::int64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::filesystem::path analyticsFolder(const Paths& paths) {
    const auto support = paths.applicationSupportDirectory();
    return support ? *support / "tavrin" / "analytics" : std::filesystem::path();
}

// Tells a running application that its lists are out of date.
void markForgotten(StoredData& data) {
    data.defaults.setObject(nlohmann::json(formatDate(data.clock.now())), AppDelegate::dataForgottenKey);
}

std::string describeSharing(const std::optional<FTUEDomain::CodableState>& firstRun);

// The user's records by place; no value, and the reason on `err`, when they cannot be read.
std::optional<std::vector<DatabaseManager::PlaceRecords>> recordsByPlace(StoredData& data, std::ostream& err) {
    try {
        return data.database.userRecordsByPlace();
    } catch (const std::exception& error) {
        err << "tavrin: cannot read the records: " << error.what() << '\n';
        return std::nullopt;
    }
}

} // namespace

int runPause(StoredData& data, std::optional<std::int64_t> minutes, std::ostream& out) {
    std::optional<std::chrono::minutes> length;
    if (minutes)
        length = std::chrono::minutes(*minutes);
    const auto pause = Pause::starting(data.clock.now(), length);
    data.defaults.setObject(pause.toStored(), Pause::defaultsKey);
    out << "Tavrin is " << describePause(pause, data.clock.now())
        << ": no click is looked at and no shortcut is counted meanwhile.\n";
    return 0;
}

int runResume(StoredData& data, std::ostream& out) {
    const bool wasPaused = storedPause(data).has_value();
    data.defaults.setObject(std::nullopt, Pause::defaultsKey);
    out << (wasPaused ? "Tavrin counts again.\n" : "Tavrin was not paused; it counts.\n");
    return 0;
}

int runDataShow(StoredData& data, std::ostream& out, std::ostream& err) {
    const auto read = recordsByPlace(data, err);
    if (!read)
        return 1;
    const auto& places = *read;
    const auto firstRun = storedFirstRun(data);
    out << "Tavrin is " << describePause(storedPause(data), data.clock.now()) << ".\n";
    out << "Sharing anonymous usage data: "
        << (!firstRun || !firstRun->ftueCompleted ? "not decided yet (nothing is sent)"
            : firstRun->dataShareAgreement        ? "on"
                                                  : "off")
        << '\n';
    out << '\n';
    if (places.empty()) {
        out << "Nothing recorded yet.\n";
    } else {
        out << std::left << std::setw(28) << "Application or site" << std::right << std::setw(8) << "Clicks"
            << std::setw(12) << "Identified" << std::setw(12) << "Bookmarked" << std::setw(9) << "Learned"
            << std::setw(9) << "Flagged" << std::setw(16) << "Shortcut uses" << std::setw(10) << "From app" << '\n';
        for (const auto& place : places) {
            const std::string name = place.name + (place.level == NamespaceLevel::domain ? " (site)"
                                                   : place.level == NamespaceLevel::os   ? " (desktop)"
                                                                                         : "");
            out << std::left << std::setw(28) << name << std::right << std::setw(8) << place.clicks << std::setw(12)
                << percent(place.identifiedClicks, place.clicks) << std::setw(12) << place.bookmarked << std::setw(9)
                << place.learned << std::setw(9) << place.flagged << std::setw(16) << place.shortcutUses
                << std::setw(10) << place.shortcutsFromApplication << '\n';
        }
        out << "\nIdentified clicks are stored as the action's name, the others as \"unknown\". \"From app\" counts "
               "the shortcuts learned from\nthe application's own menus and buttons, named as it shows them; no other "
               "text from your screen is kept.\n";
    }
    out << "\nFiles:\n";
    out << "  Database          " << data.database.path().string() << '\n';
    out << "  Preferences       " << data.defaults.file().string() << '\n';
    if (const auto folder = analyticsFolder(data.paths); !folder.empty())
        out << "  Unsent usage data " << folder.string() << '\n';
    return 0;
}

int runDataExport(StoredData& data, const std::filesystem::path& file, std::ostream& out, std::ostream& err) {
    OutputJson document = OutputJson::object();
    document["format"] = "tavrin-data-export";
    document["version"] = 1;
    document["exportedAt"] = formatDate(data.clock.now());
    const auto id = data.defaults.object(AppDelegate::anonymousUserIdKey);
    document["anonymousUserId"] = id && id->is_string() ? OutputJson(id->get<std::string>()) : OutputJson();

    OutputJson preferences = OutputJson::object();
    const auto launch = data.defaults.object("LaunchAtLogin");
    preferences["launchAtLogin"] = launch && launch->is_boolean() ? launch->get<bool>() : true;
    const auto firstRun = storedFirstRun(data);
    preferences["shareUsageData"] =
        firstRun && firstRun->ftueCompleted ? OutputJson(firstRun->dataShareAgreement) : OutputJson();
    preferences["firstRun"] = firstRun ? OutputJson::parse(firstRun->encode()) : OutputJson();
    const auto pause = storedPause(data);
    preferences["pause"] = pause ? OutputJson(pause->toStored()) : OutputJson();
    preferences["coaching"] = OutputJson::parse(
        CoachingPreferences::fromStored(data.defaults.object(CoachingPreferences::defaultsKey)).toStored().dump());
    document["preferences"] = std::move(preferences);

    OutputJson records;
    try {
        records = data.database.exportUserRecords();
    } catch (const std::exception& error) {
        err << "tavrin: cannot read the records: " << error.what() << '\n';
        return 1;
    }
    for (const auto& key :
         {"places", "clicks", "shortcutUses", "marks", "learnedShortcuts", "coaching", "applicationKeys"})
        document[key] = std::move(records[key]);
    const std::string text = document.dump(2) + "\n";
    if (file == "-") {
        out << text;
        return 0;
    }
    std::string problem;
    if (!replaceFile(file, text, problem)) {
        err << "tavrin: cannot write " << file.string() << ": " << problem << '\n';
        return 1;
    }
    const auto size = [&](const char* key) { return static_cast<std::int64_t>(document[key].size()); };
    out << "Wrote " << count(size("clicks"), "click", "clicks") << ", "
        << count(size("shortcutUses"), "shortcut use", "shortcut uses") << ", " << count(size("marks"), "mark", "marks")
        << " and " << count(size("learnedShortcuts"), "learned shortcut", "learned shortcuts") << " to "
        << file.string() << ".\n";
    return 0;
}

int runDataForget(StoredData& data, const ForgetOptions& options, std::istream& in, std::ostream& out,
                  std::ostream& err) {
    const auto read = recordsByPlace(data, err);
    if (!read)
        return 1;
    const auto& places = *read;
    std::optional<std::vector<std::string>> ids;
    std::string what = "all your records";
    if (options.app) {
        const std::string normalized = AppDomain::normalizeName(*options.app);
        ids.emplace();
        for (const auto& place : places)
            if (place.name == normalized || place.name == *options.app || place.namespaceId == *options.app)
                ids->push_back(place.namespaceId);
        if (ids->empty()) {
            err << "tavrin: nothing is recorded for \"" << *options.app
                << "\"; `tavrin data show` lists the applications and sites with records.\n";
            return 1;
        }
        what = "the records of " + *options.app;
    }
    std::int64_t clicks = 0, uses = 0, marks = 0, taught = 0;
    for (const auto& place : places)
        if (!ids || std::find(ids->begin(), ids->end(), place.namespaceId) != ids->end()) {
            clicks += place.clicks;
            uses += place.shortcutUses;
            marks += place.bookmarked + place.learned + place.flagged;
            taught += place.shortcutsFromApplication;
        }
    std::string counts = count(clicks, "click", "clicks") + ", " + count(uses, "shortcut use", "shortcut uses") +
                         " and " + count(marks, "mark", "marks");
    if (taught > 0)
        counts = count(clicks, "click", "clicks") + ", " + count(uses, "shortcut use", "shortcut uses") + ", " +
                 count(marks, "mark", "marks") + " and " + count(taught, "learned shortcut", "learned shortcuts");

    if (!options.yes) {
        if (!options.interactive) {
            err << "tavrin: data forget deletes " << what << " (" << counts
                << ") for good; add --yes to confirm when not on a terminal.\n";
            return 2;
        }
        out << "Delete " << what << " (" << counts << ")" << (ids ? "" : ", and start again with a new anonymous id")
            << "? The catalogue stays. [y/N] " << std::flush;
        std::string answer;
        std::getline(in, answer);
        if (answer != "y" && answer != "Y" && answer != "yes" && answer != "Yes") {
            out << "Nothing deleted.\n";
            return 1;
        }
    }
    try {
        data.database.forgetUserRecords(ids);
    } catch (const std::exception& error) {
        err << "tavrin: nothing deleted: " << error.what() << '\n';
        return 1;
    }
    if (!ids) {
        // Usage events not sent yet carry the old id. They go before the new id is written: a running
        // application starts its usage client afresh when it sees the new id, and its new device id
        // must not land in a folder that is about to be deleted.
        if (const auto folder = analyticsFolder(data.paths); !folder.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        }
        data.defaults.setObject(nlohmann::json(Uuid::random().toString()), AppDelegate::anonymousUserIdKey);
    }
    markForgotten(data);
    out << "Deleted " << what << " (" << counts << ")" << (ids ? "" : "; your anonymous id is new") << ".\n";
    return 0;
}

namespace {
std::string describeSharing(const std::optional<FTUEDomain::CodableState>& firstRun) {
    if (!firstRun || !firstRun->ftueCompleted)
        return "not decided yet (nothing is sent)";
    return firstRun->dataShareAgreement ? "on" : "off";
}
} // namespace

int runDataSharing(StoredData& data, std::optional<bool> choice, std::ostream& out) {
    auto firstRun = storedFirstRun(data).value_or(FTUEDomain::CodableState{});
    if (!choice) {
        out << "Sharing anonymous usage data: " << describeSharing(storedFirstRun(data)) << '\n';
        return 0;
    }
    const bool on = *choice;
    firstRun.dataShareAgreement = on;
    data.defaults.setObject(firstRun.stored(), FTUEDomain::CodableState::defaultsKey);
    if (!on)
        out << "Sharing anonymous usage data is off: nothing is sent, and what waited is dropped.\n";
    else if (firstRun.ftueCompleted)
        out << "Sharing anonymous usage data is on, thank you. It never includes text from your screen.\n";
    else
        out << "Sharing anonymous usage data is on; it starts once `tavrin setup` is done.\n";
    return 0;
}

} // namespace tavrin
