#include "database/DatabaseManager.h"

namespace tavrin {

void DatabaseManager::populateFromCSV() {
    printLine("Populating database from CSV");
    // The exports are read by the catalogue loader (issue #3).
    printLine("Database population complete");
}

} // namespace tavrin
