#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/Bundle.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

// "<identifier>@<short version>+<build>", each part "unknown" when missing.
std::string releaseName(const BundleInfo& bundle);

// The four lines about the machine and the program that the feedback mail carries, without a
// trailing newline. Missing bundle values read "Unknown".
std::string systemInformationText(const PlatformProfile& profile, const std::string& osVersion,
                                  const std::string& model, const BundleInfo& bundle);

// Percent-encodes everything outside the characters a URL query may hold as they are (letters,
// digits and !$&'()*+,-./:;=?@_~), byte by byte in UTF-8, with upper-case hex.
std::string percentEncodeQuery(std::string_view text);

// Whether `text` reads as a URL: a scheme, then only characters a URL may hold, with every '%'
// starting an escape and at most one '#'.
bool parsesAsUrl(std::string_view text);

// The feedback mail's address: mailto:, the address, the subject and a body with the system
// information far below the cursor. No value when the address is empty or the result does not
// read as a URL.
std::optional<std::string> feedbackMailUrl(const std::string& address, const std::string& systemInformation);

inline constexpr std::string_view kFeedbackSubject = "Tavrin Feedback (Promise it's not just keyboard mashing)";

} // namespace tavrin
