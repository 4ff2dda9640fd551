#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <nlohmann/json.hpp>

#include "database/Models.h"
#include "database/PracticeRecords.h"
#include "database/ShortcutLearner.h"
#include "foundation/MenuHarvest.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/UserDefaults.h"

namespace tavrin {

// Owns the one SQLite file: the shortcut catalogue and the user's own records and marks.
//
// Construction opens (and on first use creates) the file and brings the schema and catalogue up to
// date; it is the only operation that throws. Every other operation reports a failure by a printed
// or logged line and an empty result. The connection is serialized, so any thread may call.
struct ToggleWords;

class DatabaseManager {
public:
    struct Configuration {
        const Paths* paths = nullptr;             // where the file lives
        UserDefaults* defaults = nullptr;         // holds "DatabaseVersion"
        const Clock* clock = nullptr;             // dates written by the store
        std::filesystem::path catalogueDirectory; // the three CSV exports
    };

    // Throws DatabaseError or the underlying error when the store cannot be built.
    explicit DatabaseManager(Configuration configuration);
    DatabaseManager(const DatabaseManager&) = delete;
    DatabaseManager& operator=(const DatabaseManager&) = delete;

    // The process-wide instance, built on first use from the configuration installed by the
    // application's wiring. Throws what construction throws; a later call tries again.
    static DatabaseManager& shared();
    static void configureShared(Configuration configuration);

    // Schema version the code expects; a stored version below it rebuilds.
    static constexpr std::int64_t currentVersion = 10;
    // The three exports the catalogue loads from, in `catalogueDirectory`.
    static constexpr const char* catalogueFiles[] = {"namespaces_export.csv", "actions_shortcuts_export.csv",
                                                     "accessibility_tree_mapping_export.csv"};
    static constexpr const char* versionKey = "DatabaseVersion";

    // "<application support>/tavrin/db.sqlite"; creates the folder. Throws directoryAccessFailed
    // when there is no application support folder.
    std::filesystem::path databasePath() const;
    void setupDatabase();
    // Rebuilds for an older schema version or an empty catalogue; otherwise reloads the catalogue
    // when its exports changed since the file was loaded from them (a new release ships more
    // applications), keeping every record, mark and learned row.
    void migrateIfNeeded();
    // A positive 31-bit fingerprint of the exports as they are now (a missing one counts too). The
    // file keeps the fingerprint of its last load as its SQLite `user_version`; 0 means unknown.
    std::int64_t catalogueFingerprint() const;
    // True when `actions` has no row, or when the check itself fails (which forces a rebuild).
    bool isActionsTableEmpty();
    void createTablesAndIndexes();
    // Builds the per-element click counts when the file lacks them (a file written before they
    // existed, or one where they were dropped); runs at every start. When they cannot be built, the
    // failure is logged and counts come from `click_events` directly.
    void ensureElementClickCounts();
    // Counts every click again into the per-element counts, replacing them. The number of clicks
    // counted; no value (and a log line) on failure, which leaves the old counts in place.
    std::optional<std::int64_t> rebuildElementClickCounts();
    // Runs `block`; on failure logs "Database operation failed: %s" and rethrows.
    void performDatabaseOperation(const std::function<void()>& block);

    // Catalogue loading. None of these throws; problems are reported row by row.
    // Loads the three exports into the tables: namespaces, actions, shortcuts, mappings.
    void populateFromCSV();
    // Decodes a whole export as rows of one kind; no value (and a printed line) when the file
    // cannot be read or any row cannot be decoded.
    template <class Row> std::optional<std::vector<Row>> readCSV(const std::filesystem::path& path);
    void upsertNamespaces(const std::vector<Namespace>& rows);
    void upsertActions(const std::vector<Action>& rows);
    // Updates existing rows in place, so a shortcut's marks survive a reload.
    void upsertShortcuts(const std::vector<Shortcut>& rows);
    void insertAccessibilityMappings(const std::vector<AccessibilityMapping>& rows);
    // A shortcut learned before the catalogue knew its application joins the catalogue's row for
    // the same keys in the same namespace: its marks, uses, mappings and clicks (stored under its
    // action's name) move there, and the learned row goes, so the list shows one card.
    void mergeLearnedShortcuts();
    // The catalogue's rows that a newer catalogue no longer has go: shortcuts, actions, mappings.
    // The user's data stays: a dropped shortcut's marks and uses move to the catalogue's row for
    // the same keys (else the same action name) in its namespace; without one, a shortcut the user
    // bookmarked, learned or used becomes the user's own row, as a learned one. Clicks are records
    // of elements, never dropped; they count wherever the catalogue now maps their element. A
    // mapping learned from the application follows its action to that successor; none is left
    // naming an action that is gone.
    void dropRowsTheCatalogueLeft(const std::vector<Action>& actions, const std::vector<Shortcut>& shortcuts,
                                  const std::vector<AccessibilityMapping>& mappings);
    // False (with a warning) for a key text with blanks inside a key: "command shift k".
    static bool hasSeparatedKeys(const std::string& keys);
    // "Shift+Command+K" gives "command + shift + k": modifiers in the order command, control,
    // option, shift, then the other keys as they came, joined by " + ".
    static std::string normalizeShortcutKeys(const std::string& keys);

    // Namespaces: the most specific level that has a row wins (domain, then app, then os).
    std::optional<Namespace> getNamespace(const std::optional<std::string>& domain,
                                          const std::optional<std::string>& appName,
                                          const std::optional<std::string>& os, std::optional<bool> isSupported);
    // Finds the row, or adds one for a site or application the catalogue lacks.
    std::optional<Namespace> getOrCreateNamespace(const std::optional<std::string>& domain,
                                                  const std::optional<std::string>& appName);

    // What the user did.
    void insertClickEvents(const std::vector<ClickEvent>& events);
    // Clicks at or above `minConfidence` per element, highest count first (equal counts by element).
    // At the application's floor (0.8) the answer comes from the per-element counts: a few hundred
    // rows, however many clicks are stored.
    std::vector<ElementClickCount> countElementClicks(const std::string& namespaceId, double minConfidence);
    std::optional<AccessibilityMapping> getAccessibilityMapping(const std::string& namespaceId,
                                                                const std::string& predictedBestValue);
    // `keys` in the canonical form of normalizeShortcutKeys.
    std::optional<Shortcut> getShortcut(const std::string& keys, const std::string& namespaceId);
    void insertShortcutUsage(const std::string& userId, std::int64_t shortcutId);

    // The list: bookmarks, then what the clicks point to (up to three entries), then the
    // catalogue's priorities, at most `limit` (5) entries in all.
    std::vector<ShortcutRecommendation> getRecommendations(const std::vector<ElementClickCount>& elementCounts,
                                                           const std::string& namespaceId,
                                                           std::optional<std::int64_t> limit = std::nullopt);
    // (keys, shortcut id) of a shortcut of the named action in the namespace. Throws on failure.
    std::optional<std::pair<std::string, std::int64_t>>
    findShortcutForAction(const std::string& actionName, const std::string& namespaceId, bool excludeLearned);
    // Seconds a year: the click rate over up to 28 days, times 365 days, 2.2 s a use, weighed 0.5,
    // plus the other half ramped in over the first 14 days.
    double estimatedAnnualSavings(std::int64_t count, Date since) const;

    // The user's marks. The writers return true when a row changed.
    bool toggleShortcutBookmark(std::int64_t shortcutId);
    bool toggleShortcutLearned(std::int64_t shortcutId);
    bool flagShortcut(std::int64_t shortcutId, Date date);
    std::vector<BookmarkedShortcut> getBookmarkedShortcuts(const std::string& namespaceId);
    std::vector<LearnedShortcut> getLearnedShortcuts(const std::string& namespaceId);

    // Coaching: how each shortcut is being practised, the keys the applications really use, and
    // the progress. None of these throws; a failure is printed and gives an empty answer.
    // Builds the coaching's tables and weekly sums when the file lacks them; runs at every start.
    void ensurePracticeTables();
    // The shortcut of the named action in the namespace (an unflagged one first), or of the id.
    std::optional<CoachedShortcut> coachedShortcut(const std::string& namespaceId, const std::string& actionName);
    std::optional<CoachedShortcut> coachedShortcut(std::int64_t shortcutId);
    // Clicks on the shortcut's action and uses of it from `since` on, and its first use.
    PracticeBalance practiceBalance(std::int64_t shortcutId, Date since);
    // Sets (or, without a date, clears) a coaching mark; false when there is no such shortcut.
    bool setCoachingMark(std::int64_t shortcutId, CoachingMark mark, std::optional<Date> date);
    // A learned shortcut whose clicks came back: no longer learned, marked back for practice, in
    // one transaction. False when it was not learned.
    bool returnForPractice(std::int64_t shortcutId, Date date);
    // The shortcut whose application shows `keys` (canonical) in the namespace.
    std::optional<std::int64_t> shortcutForApplicationKeys(const std::string& keys, const std::string& namespaceId);
    // Keeps the keys the items show for the namespace's actions where they differ from the
    // catalogue's, and forgets them where they agree again. The number of shortcuts changed.
    int rememberApplicationKeys(const std::string& namespaceId, const std::vector<HarvestedItem>& items);
    // The last `weeks` weeks up to the one of `now`, the learned shortcuts and the uses so far.
    ProgressReport progress(Date now, int weeks);

    // The user's own records, apart from the catalogue: clicks, shortcut uses, marks (bookmarked,
    // learned, flagged), the shortcuts learned from the applications (with their mappings and the
    // releases whose menus were read) and the places the catalogue did not know. A place is an
    // application or a site; `namespaceIds` limits an operation to those places, none means all.
    struct PlaceRecords {
        std::string namespaceId;
        NamespaceLevel level = NamespaceLevel::app;
        std::string name;
        std::int64_t clicks = 0;
        std::int64_t identifiedClicks = 0; // clicks counted as a catalogue action, not "unknown"
        std::int64_t bookmarked = 0, learned = 0, flagged = 0;
        std::int64_t shortcutUses = 0;
        std::int64_t shortcutsFromApplication = 0; // learned from the application itself
        bool operator==(const PlaceRecords&) const = default;
    };
    // Places with at least one record, by name. Throws on failure (the commands report it).
    std::vector<PlaceRecords> userRecordsByPlace();
    // Every record as JSON (the export's "places", "clicks", "shortcutUses", "marks" and
    // "learnedShortcuts"), oldest first. Throws on failure.
    nlohmann::ordered_json exportUserRecords();
    // Deletes the records in one transaction, and the places the user's clicks added; the
    // catalogue stays. Throws on failure, having deleted nothing.
    void forgetUserRecords(const std::optional<std::vector<std::string>>& namespaceIds);

    // Shortcuts learned from the applications themselves (ShortcutLearner.h). Each item's rows are
    // written under the connection's lock and in a savepoint of their own, so that the main
    // thread's clicks and marks go in between items and never into a learner's transaction.
    // Writes an action, its shortcut and its mapping (and the mapping without a trailing ellipsis,
    // as toolbar buttons name the same command) into an application's namespace for each item it
    // lacks, and marks the namespace supported once it has some. An item whose keys or name the
    // namespace already has only adds its mapping to that action. Nothing for a namespace that is
    // no application's. An item that fails is printed and lost alone.
    ShortcutLearner::Outcome learnShortcuts(const std::string& namespaceId, const std::vector<HarvestedItem>& items);
    ShortcutLearner::Source shortcutSource(const std::string& namespaceId);
    // The version of the application whose menus were last read whole for a namespace, as
    // ApplicationMenus::applicationVersion gave it; nothing before the first reading.
    std::optional<std::string> walkedVersion(const std::string& namespaceId);
    void rememberWalkedVersion(const std::string& namespaceId, const std::string& version);
    // The menu items of a namespace's application that a walk found disabled and without their
    // shortcut (awaitsShortcut), to be read again once the application enables them, with their
    // role, menus and place. Empty when there are none or they cannot be read.
    std::vector<MenuNode> pendingMenuItems(const std::string& namespaceId);
    // Adds items to the namespace's list (an item of the same name is replaced), or drops items
    // from it by name. A failure is printed: the items are then read again, or once more walked.
    void rememberPendingMenuItems(const std::string& namespaceId, const std::vector<MenuNode>& items);
    void dropPendingMenuItems(const std::string& namespaceId, const std::vector<MenuNode>& items);
    // Every learned shortcut, by namespace and name; empty when they cannot be read.
    std::vector<ShortcutLearner::Learned> shortcutsLearnedFromApplications();

    SQLite::Database& db() { return *db_; }
    const std::filesystem::path& path() const { return path_; }
    Date now() const { return clock_->now(); }

    // Rows per table, in creation order; -1 for a table that cannot be read.
    std::vector<std::pair<std::string, std::int64_t>> tableRowCounts();

private:
    // One operation on the connection at a time: reducers call from the main thread and effects from
    // workers, and the prepared statements are shared. When the outermost operation ends, every
    // cached statement is reset, so that no read stays open between operations: an open read holds
    // this connection to the file as it was, and once another process has written, this
    // connection's next write would fail with "database is locked".
    class Operation {
    public:
        explicit Operation(DatabaseManager& owner);
        ~Operation();
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

    private:
        DatabaseManager& owner_;
        std::lock_guard<std::recursive_mutex> lock_;
    };

    // A prepared statement for a fixed `sql`, reset and with no bindings, ready for this use; prepared
    // once and reused. A failure of its last use does not carry over. Statements whose text varies
    // (NOT IN lists) are prepared where they are used. Only within an Operation.
    SQLite::Statement& statement(std::string_view sql);
    // Runs the writes of one catalogue row inside its own savepoint: a row that fails leaves nothing
    // behind and the rows around it stand. Rethrows the row's error. Only within an Operation.
    void inRowSavepoint(const std::function<void()>& write);
    bool toggleMark(std::int64_t shortcutId, const ToggleWords& words);
    // One item of learnShortcuts; true when it added an action. Inside an Operation; throws.
    bool learnItem(const std::string& namespaceId, const HarvestedItem& item);
    // The next free id for a row of the user's (actions and shortcuts share it), and the priority
    // after the user's rows in a namespace. Inside an Operation; throw on failure.
    std::int64_t nextUserId();
    std::int64_t nextUserPriority(const std::string& namespaceId);
    // Moves a catalogue shortcut, and its action when `moveAction`, to ids of the user's rows.
    // Inside an Operation; throws on failure.
    void keepAsUserRow(std::int64_t shortcutId, std::int64_t actionId, bool moveAction);
    std::string namespaceOfAction(std::int64_t actionId);
    // The fingerprint of the exports the file was last loaded from; 0 when unknown or unreadable.
    std::int64_t loadedCatalogue();
    void storeLoadedCatalogue(std::int64_t fingerprint);

    std::unique_ptr<SQLite::Database> db_;
    std::recursive_mutex queries_;
    int operationDepth_ = 0;
    bool countsReady_ = false; // the per-element counts exist and are kept
    std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>> statements_;
    std::mutex dbQueue_; // serialises the schema step
    Logger logger_{std::string(kLogSubsystem), "DatabaseManager"};
    Configuration config_;
    const Clock* clock_;
    std::filesystem::path path_;
};

} // namespace tavrin
