#pragma once

#include "foundation/Folders.h"

namespace tavrin::testing {

// A fresh folder for one test, removed with everything in it.
class TempDir : public TemporaryFolder {
public:
    TempDir() : TemporaryFolder("tavrin-test-") {}
};

} // namespace tavrin::testing
