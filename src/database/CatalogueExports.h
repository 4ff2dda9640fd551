#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "foundation/MenuHarvest.h"

namespace tavrin {

// The three catalogue exports of a folder as text rows, for tools that build the catalogue:
// reading, merging a harvest into one namespace, and writing them back with every other row as
// it was.
class CatalogueExports {
public:
    struct Sheet {
        std::vector<std::string> header;
        std::vector<std::vector<std::string>> rows;
        // The field of `row` in column `name`; empty when the column is missing.
        std::string field(const std::vector<std::string>& row, const std::string& name) const;
        int column(const std::string& name) const; // -1 when missing
    };

    // Reads the exports in `folder`; a missing file gives an empty sheet with the usual columns.
    // No value, with the reason in `problem`, when a file exists but cannot be read.
    static std::optional<CatalogueExports> read(const std::filesystem::path& folder, std::string& problem);
    // Writes all three (the folder is made). False, with the reason, when a file cannot be written.
    bool write(const std::filesystem::path& folder, std::string& problem) const;

    struct MergeResult {
        bool namespaceAdded = false;
        int actionsAdded = 0;
        int mappingsAdded = 0;
        int alreadyKnown = 0; // items whose keys or name the namespace had already
    };
    // Adds what the namespace lacks: its row when there is something to add (supported, `hasDomain` as given), an
    // action and a shortcut per new item, after the namespace's present priorities, with ids above every id of the
    // files, and a mapping per value (also the value without a trailing ellipsis, which toolbar buttons drop). An item
    // whose keys the namespace already has gets only its mapping, to that action. Rows already there are never changed.
    MergeResult merge(const std::string& namespaceId, const std::string& levelName,
                      const std::vector<HarvestedItem>& items, bool hasDomain = false);

    Sheet namespaces;
    Sheet actions; // the joined actions-and-shortcuts export
    Sheet mappings;
};

// One CSV field as the exports write it: quoted when it holds a comma, a quote, a line break or
// blanks at either end.
std::string csvField(const std::string& text);

} // namespace tavrin
