#include "platform/PlatformProfile.h"

namespace tavrin {

const PlatformProfile& PlatformProfile::macOS() {
    static const PlatformProfile profile{
        .osNamespaceName = "mac_os",
        .unsupportedAppSubtitle = "macOS shortcuts",
        .unsupportedAppTooltip = "App not yet supported. Showing default macOS shortcuts.",
        .browserNameFragments = {"chrome", "firefox", "safari", "opera", "edge"},
        .browserNamespaces = {"google_chrome", "safari", "firefox", "edge", "arc", "opera"},
        .practiceKeySet = {"command", "r"},
        .practiceKeysCopy = "command + r",
        .practiceTabKeysCopy = "command + t",
        .commandKeyLabel = "Command",
        .optionKeyLabel = "Option",
        .osVersionLabel = "macOS Version: ",
        .modelLabel = "Mac Model: ",
    };
    return profile;
}

const PlatformProfile& PlatformProfile::linuxDesktop() {
    static const PlatformProfile profile{
        .osNamespaceName = "linux",
        .unsupportedAppSubtitle = "Desktop shortcuts",
        .unsupportedAppTooltip = "App not yet supported. Showing default desktop shortcuts.",
        .browserNameFragments = {"chrome", "firefox", "safari", "opera", "edge", "chromium", "brave", "vivaldi"},
        // Debian's Chromium calls itself "Chromium Web Browser" in its desktop entry.
        .browserNamespaces = {"google_chrome", "safari", "firefox", "edge", "arc", "opera", "chromium",
                              "chromium_web_browser", "firefox_esr", "brave_browser", "vivaldi"},
        .practiceKeySet = {"control", "r"},
        .practiceKeysCopy = "control + r",
        .practiceTabKeysCopy = "control + t",
        .commandKeyLabel = "Super",
        .optionKeyLabel = "Alt",
        .osVersionLabel = "OS Version: ",
        .modelLabel = "Model: ",
    };
    return profile;
}

} // namespace tavrin
