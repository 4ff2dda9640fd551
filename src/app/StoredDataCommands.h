#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

#include "app/DataCommands.h"

namespace tavrin {

// The options every command over the stored data takes.
struct CommonOptions {
    std::string dataDir;
    std::string catalogueDir;
    bool verbose = false;
};

struct RecommendationOptions {
    std::string namespaceId;
    std::int64_t limit = 5;
    bool learned = false;
    bool bookmarked = false;
    std::string app;
    std::string domain;
    std::string category = "recommended";
    bool json = false;
};

// `tavrin recommendations`: a namespace's lists as the database gives them, or with an application
// (and a site) the list the cheat sheet would show, built by the store as the application builds it.
int runRecommendations(const CommonOptions& common, const RecommendationOptions& options, std::ostream& out,
                       std::ostream& err);
// `tavrin status`: the database, its schema version and row counts, and the learned shortcuts; with
// `coverage`, per place how many clicks were identified.
int runStatus(const CommonOptions& options, bool coverage, std::ostream& out, std::ostream& err);
// Runs a data command on the stored data, opened as `status` opens it. Exit status 1, with the
// reason on `err`, when the data folder cannot be used.
int withStoredData(const CommonOptions& options, std::ostream& err, const std::function<int(StoredData&)>& command);

} // namespace tavrin
