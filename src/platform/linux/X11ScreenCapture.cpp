#include "platform/linux/X11ScreenCapture.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace tavrin {

namespace {

// Replies and errors of xcb are malloc'd.
template <class T> using Owned = std::unique_ptr<T, decltype(&std::free)>;
template <class T> Owned<T> own(T* value) {
    return Owned<T>(value, &std::free);
}

std::string describe(const xcb_generic_error_t& error) {
    return "X error " + std::to_string(error.error_code) + " on request " + std::to_string(error.major_code);
}

} // namespace

struct X11ScreenCapture::Connection {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t clientList = XCB_ATOM_NONE;
    // Empty when the screen's pixels are 32 bits of blue, green, red and padding, in that order in
    // memory: the only layout read here (every TrueColor screen of depth 24 on a PC).
    std::string unsupportedFormat;

    bool trySharedMemory = true;
    xcb_shm_seg_t segment = 0;
    std::uint8_t* memory = nullptr;
    std::size_t capacity = 0;

    ~Connection() {
        releaseSegment();
        if (connection)
            xcb_disconnect(connection);
    }

    void checkConnection() const {
        if (xcb_connection_has_error(connection))
            throw std::runtime_error("the connection to the X server was lost");
    }

    void releaseSegment() {
        if (!memory)
            return;
        xcb_shm_detach(connection, segment);
        xcb_flush(connection);
        shmdt(memory);
        memory = nullptr;
        capacity = 0;
    }

    // A segment of at least `bytes`; false when shared memory cannot be used, which then stays so.
    bool segmentFor(std::size_t bytes) {
        if (!trySharedMemory)
            return false;
        if (capacity >= bytes)
            return true;
        releaseSegment();
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0) {
            trySharedMemory = false;
            return false;
        }
        void* address = shmat(id, nullptr, 0);
        if (address == reinterpret_cast<void*>(-1)) {
            shmctl(id, IPC_RMID, nullptr);
            trySharedMemory = false;
            return false;
        }
        segment = xcb_generate_id(connection);
        const auto error = own(xcb_request_check(connection, xcb_shm_attach_checked(connection, segment, id, 0)));
        // Marked for removal now: it goes when both sides have detached, even after a crash.
        shmctl(id, IPC_RMID, nullptr);
        if (error) {
            // A display on another machine, or a server in another IPC namespace.
            shmdt(address);
            trySharedMemory = false;
            return false;
        }
        memory = static_cast<std::uint8_t*>(address);
        capacity = bytes;
        return true;
    }
};

X11ScreenCapture::X11ScreenCapture(const std::string& display, Transfer transfer) : x_(std::make_unique<Connection>()) {
    int screenNumber = 0;
    x_->connection = xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber);
    if (xcb_connection_has_error(x_->connection))
        throw std::runtime_error("cannot connect to the X server" + (display.empty() ? "" : " " + display));
    const xcb_setup_t* setup = xcb_get_setup(x_->connection);
    auto roots = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < screenNumber && roots.rem; ++i)
        xcb_screen_next(&roots);
    if (!roots.rem)
        throw std::runtime_error("the X server has no screen " + std::to_string(screenNumber));
    const xcb_screen_t* screen = roots.data;
    x_->root = screen->root;

    int bitsPerPixel = 0;
    for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem; xcb_format_next(&format))
        if (format.data->depth == screen->root_depth)
            bitsPerPixel = format.data->bits_per_pixel;
    const xcb_visualtype_t* visual = nullptr;
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem; xcb_depth_next(&depth))
        for (auto v = xcb_depth_visuals_iterator(depth.data); v.rem; xcb_visualtype_next(&v))
            if (v.data->visual_id == screen->root_visual)
                visual = v.data;
    if (bitsPerPixel != 32 || !visual || visual->red_mask != 0xff0000 || visual->green_mask != 0xff00 ||
        visual->blue_mask != 0xff || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        x_->unsupportedFormat = "the screen's pixel format (depth " + std::to_string(screen->root_depth) + ", " +
                                std::to_string(bitsPerPixel) + " bits per pixel) cannot be read";

    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(x_->connection, &xcb_shm_id);
    x_->trySharedMemory = transfer == Transfer::sharedMemoryWherePossible && shm && shm->present;

    const char name[] = "_NET_CLIENT_LIST";
    const auto atom =
        own(xcb_intern_atom_reply(x_->connection, xcb_intern_atom(x_->connection, 1, sizeof name - 1, name), nullptr));
    if (atom)
        x_->clientList = atom->atom;
}

X11ScreenCapture::~X11ScreenCapture() = default;

bool X11ScreenCapture::usesSharedMemory() const {
    std::lock_guard lock(mutex_);
    return x_->memory != nullptr;
}

ShareableContent X11ScreenCapture::shareableContent() {
    std::lock_guard lock(mutex_);
    xcb_connection_t* c = x_->connection;
    if (xcb_connection_has_error(c))
        throw ScreenAccessError("the connection to the X server was lost");
    // Asked each time: the screen's size changes when monitors come and go.
    const auto geometryCookie = xcb_get_geometry(c, x_->root);
    const auto clientsCookie = xcb_get_property(c, 0, x_->root, x_->clientList, XCB_ATOM_WINDOW, 0, 1 << 16);
    xcb_generic_error_t* error = nullptr;
    const auto geometry = own(xcb_get_geometry_reply(c, geometryCookie, &error));
    if (!geometry) {
        const auto owned = own(error);
        throw ScreenAccessError("the screen's size cannot be read" + (owned ? ": " + describe(*owned) : ""));
    }
    ShareableContent content;
    content.displays.push_back({geometry->width, geometry->height});
    const auto clients = own(xcb_get_property_reply(c, clientsCookie, nullptr));
    if (clients && clients->type == XCB_ATOM_WINDOW && clients->format == 32) {
        content.windowCount = static_cast<std::size_t>(xcb_get_property_value_length(clients.get())) / 4;
    } else if (const auto tree = own(xcb_query_tree_reply(c, xcb_query_tree(c, x_->root), nullptr))) {
        content.windowCount = tree->children_len;
    }
    return content;
}

Image X11ScreenCapture::capture(PixelRect area, PixelSize size) {
    std::lock_guard lock(mutex_);
    x_->checkConnection();
    if (!x_->unsupportedFormat.empty())
        throw std::runtime_error(x_->unsupportedFormat);
    if (area.width <= 0 || area.height <= 0 || size.width <= 0 || size.height <= 0 || area.x < 0 || area.y < 0)
        throw std::invalid_argument("no pixels to read in the area " + std::to_string(area.width) + " by " +
                                    std::to_string(area.height) + " at " + std::to_string(area.x) + "," +
                                    std::to_string(area.y));
    xcb_connection_t* c = x_->connection;
    const auto x = static_cast<std::int16_t>(area.x), y = static_cast<std::int16_t>(area.y);
    const auto width = static_cast<std::uint16_t>(area.width), height = static_cast<std::uint16_t>(area.height);
    const std::size_t rowBytes = static_cast<std::size_t>(area.width) * 4;
    const std::size_t largest =
        std::max(rowBytes * area.height, static_cast<std::size_t>(size.width) * size.height * 4);

    const std::uint8_t* pixels = nullptr;
    std::size_t stride = rowBytes;
    Owned<xcb_get_image_reply_t> plain(nullptr, &std::free);
    xcb_generic_error_t* error = nullptr;
    if (x_->segmentFor(largest)) {
        const auto reply = own(xcb_shm_get_image_reply(
            c, xcb_shm_get_image(c, x_->root, x, y, width, height, ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, x_->segment, 0),
            &error));
        if (!reply) {
            const auto owned = own(error);
            throw std::runtime_error("the screen cannot be read" + (owned ? ": " + describe(*owned) : ""));
        }
        pixels = x_->memory;
    } else {
        plain = own(xcb_get_image_reply(
            c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, x_->root, x, y, width, height, ~0u), &error));
        if (!plain) {
            const auto owned = own(error);
            throw std::runtime_error("the screen cannot be read" + (owned ? ": " + describe(*owned) : ""));
        }
        const auto length = static_cast<std::size_t>(xcb_get_image_data_length(plain.get()));
        stride = length / area.height;
        if (stride < rowBytes)
            throw std::runtime_error("the X server sent fewer pixels than asked for");
        pixels = xcb_get_image_data(plain.get());
    }

    // Blue, green, red, padding in memory; the picture is red, green, blue and an opaque alpha.
    Image image{size.width, size.height,
                std::vector<std::uint8_t>(static_cast<std::size_t>(size.width) * size.height * 4)};
    const cv::Mat bgrx(area.height, area.width, CV_8UC4, const_cast<std::uint8_t*>(pixels), stride);
    cv::Mat target(size.height, size.width, CV_8UC4, image.rgba.data());
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    if (area.width == size.width && area.height == size.height) {
        target.setTo(cv::Scalar(0, 0, 0, 255));
        cv::mixChannels(&bgrx, 1, &target, 1, fromTo, 3);
    } else {
        cv::Mat rgba(area.height, area.width, CV_8UC4, cv::Scalar(0, 0, 0, 255));
        cv::mixChannels(&bgrx, 1, &rgba, 1, fromTo, 3);
        // Near an edge the area is smaller than the picture and is scaled up, as a screen stream
        // configured for the picture's size would.
        cv::resize(rgba, target, target.size(), 0, 0, cv::INTER_LINEAR);
    }
    return image;
}

} // namespace tavrin
