#include "platform/wayland/PortalScreenCapture.h"

#include <atomic>
#include <filesystem>

#include <gio/gio.h>
#include <opencv2/imgproc.hpp>
#include <png.h>
#include <unistd.h>

namespace tavrin {

namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kScreenshot = "org.freedesktop.portal.Screenshot";
constexpr const char* kUnreadable = "the screen of a Wayland session is not readable by other programs";

std::string takeError(GError* error) {
    std::string message = error ? error->message : "no answer";
    if (error)
        g_error_free(error);
    return message;
}

// The Request's answer: 0 done, 1 refused by the user, 2 anything else.
struct Answer {
    std::optional<guint32> response;
    std::string uri;
    bool timedOut = false;
};

void answered(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
              gpointer data) {
    auto* answer = static_cast<Answer*>(data);
    guint32 response = 2;
    GVariant* results = nullptr;
    g_variant_get(parameters, "(u@a{sv})", &response, &results);
    const gchar* uri = nullptr;
    if (results && g_variant_lookup(results, "uri", "&s", &uri) && uri)
        answer->uri = uri;
    if (results)
        g_variant_unref(results);
    answer->response = response;
}

// A whole picture read from a PNG file as 8-bit RGBA.
Image readPng(const std::string& file) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, file.c_str()))
        throw std::runtime_error("the portal's screenshot cannot be read: " + std::string(png.message));
    png.format = PNG_FORMAT_RGBA;
    Image image{static_cast<int>(png.width), static_cast<int>(png.height),
                std::vector<std::uint8_t>(PNG_IMAGE_SIZE(png))};
    if (!png_image_finish_read(&png, nullptr, image.rgba.data(), 0, nullptr)) {
        const std::string problem = png.message;
        png_image_free(&png);
        throw std::runtime_error("the portal's screenshot cannot be read: " + problem);
    }
    return image;
}

// Reads the portal's file and deletes it: the screenshot was taken for Tavrin alone.
Image takeFile(const std::string& uri) {
    gchar* path = g_filename_from_uri(uri.c_str(), nullptr, nullptr);
    if (!path)
        throw std::runtime_error("the portal's screenshot is not a local file: " + uri);
    const std::string file(path);
    g_free(path);
    try {
        Image image = readPng(file);
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        return image;
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        throw;
    }
}

} // namespace

PortalScreenCapture::PortalScreenCapture(std::unique_ptr<ScreenCapture> fallback) : fallback_(std::move(fallback)) {}

bool PortalScreenCapture::offered() const {
    std::lock_guard lock(mutex_);
    if (!offered_) {
        GError* error = nullptr;
        GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
        GVariant* version =
            bus ? g_dbus_connection_call_sync(bus, kPortal, kPortalPath, "org.freedesktop.DBus.Properties", "Get",
                                              g_variant_new("(ss)", kScreenshot, "version"), G_VARIANT_TYPE("(v)"),
                                              G_DBUS_CALL_FLAGS_NONE, 3000, nullptr, &error)
                : nullptr;
        offered_ = version != nullptr;
        if (version)
            g_variant_unref(version);
        if (error)
            g_error_free(error);
        if (bus)
            g_object_unref(bus);
    }
    return *offered_;
}

bool PortalScreenCapture::hasPermission() const {
    if (offered())
        return !refused_;
    return fallback_ && fallback_->hasPermission();
}

std::string PortalScreenCapture::screenshot(std::chrono::seconds timeout) {
    std::lock_guard lock(mutex_);
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus)
        throw ScreenAccessError("no session bus for the desktop portal: " + takeError(error),
                                ScreenAccessError::failedToStart);
    // The answer comes as a signal on a request object named after our connection and a token.
    static std::atomic<unsigned> tokens{0};
    const std::string token = "tavrin" + std::to_string(getpid()) + "_" + std::to_string(++tokens);
    std::string sender = g_dbus_connection_get_unique_name(bus) + 1;
    for (char& c : sender)
        if (c == '.')
            c = '_';
    const std::string request = std::string(kPortalPath) + "/request/" + sender + "/" + token;

    GMainContext* context = g_main_context_new();
    g_main_context_push_thread_default(context);
    Answer answer;
    const guint subscription =
        g_dbus_connection_signal_subscribe(bus, nullptr, "org.freedesktop.portal.Request", "Response", request.c_str(),
                                           nullptr, G_DBUS_SIGNAL_FLAGS_NONE, answered, &answer, nullptr);
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
    g_variant_builder_add(&options, "{sv}", "interactive", g_variant_new_boolean(FALSE));
    GVariant* handle = g_dbus_connection_call_sync(bus, kPortal, kPortalPath, kScreenshot, "Screenshot",
                                                   g_variant_new("(sa{sv})", "", &options), G_VARIANT_TYPE("(o)"),
                                                   G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
    std::string problem;
    if (handle) {
        g_variant_unref(handle);
        GSource* timer = g_timeout_source_new(static_cast<guint>(timeout.count() * 1000));
        g_source_set_callback(
            timer,
            [](gpointer data) {
                static_cast<Answer*>(data)->timedOut = true;
                return G_SOURCE_REMOVE;
            },
            &answer, nullptr);
        g_source_attach(timer, context);
        while (!answer.response && !answer.timedOut)
            g_main_context_iteration(context, TRUE);
        g_source_destroy(timer);
        g_source_unref(timer);
    } else {
        problem = takeError(error);
    }
    g_dbus_connection_signal_unsubscribe(bus, subscription);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    g_object_unref(bus);

    if (!problem.empty())
        throw ScreenAccessError("the desktop portal takes no screenshot: " + problem, ScreenAccessError::failedToStart);
    if (!answer.response)
        throw ScreenAccessError("the desktop portal did not answer within " + std::to_string(timeout.count()) + " s",
                                ScreenAccessError::failedToStart);
    if (*answer.response == 1) {
        refused_ = true;
        throw ScreenAccessError("the screenshot was refused in the desktop's dialog", ScreenAccessError::userDeclined);
    }
    if (*answer.response != 0 || answer.uri.empty())
        throw ScreenAccessError("the desktop portal could not take a screenshot", ScreenAccessError::failedToStart);
    return answer.uri;
}

ShareableContent PortalScreenCapture::shareableContent() {
    if (!offered()) {
        if (fallback_)
            return fallback_->shareableContent();
        throw ScreenAccessError(kUnreadable);
    }
    // The first screenshot is where the desktop asks: time for the user to answer.
    const Image whole = takeFile(screenshot(std::chrono::seconds(60)));
    return {{{whole.width, whole.height}}, 0};
}

Image PortalScreenCapture::capture(PixelRect area, PixelSize size) {
    if (!offered()) {
        if (fallback_)
            return fallback_->capture(area, size);
        throw std::runtime_error(kUnreadable);
    }
    if (area.width <= 0 || area.height <= 0 || size.width <= 0 || size.height <= 0 || area.x < 0 || area.y < 0)
        throw std::invalid_argument("no pixels to read in the area " + std::to_string(area.width) + " by " +
                                    std::to_string(area.height) + " at " + std::to_string(area.x) + "," +
                                    std::to_string(area.y));
    Image whole = takeFile(screenshot(std::chrono::seconds(30)));
    if (area.x + area.width > whole.width || area.y + area.height > whole.height)
        throw std::runtime_error("the area lies outside the portal's screenshot of " + std::to_string(whole.width) +
                                 " by " + std::to_string(whole.height));
    const cv::Mat full(whole.height, whole.width, CV_8UC4, whole.rgba.data());
    Image image{size.width, size.height,
                std::vector<std::uint8_t>(static_cast<std::size_t>(size.width) * size.height * 4)};
    cv::Mat target(size.height, size.width, CV_8UC4, image.rgba.data());
    // Near an edge the area is smaller than the picture and is scaled up, as on X11.
    cv::resize(full(cv::Rect(area.x, area.y, area.width, area.height)), target, target.size(), 0, 0, cv::INTER_LINEAR);
    return image;
}

} // namespace tavrin
