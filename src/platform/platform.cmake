# The platform layer: its interfaces (headers in src/platform/), the implementations that need no
# desktop (common/), the in-memory one (fake/) and the Linux one (linux/). This is the one file that
# chooses between them: the Linux desktop (X11 and Wayland sessions) where X11, Wayland, AT-SPI and
# their neighbours are installed, else the fake alone, with which the core, its tests and replays
# still build and run.
# Sets TAVRIN_LINUX_PLATFORM to ON when the Linux implementation is built.

# GLib for base64 in the preferences file; the Linux implementation uses it for much more.
find_package(PkgConfig REQUIRED)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)

add_library(tavrin_platform STATIC)
target_sources(tavrin_platform PRIVATE
  src/platform/common/EventLoop.cpp
  src/platform/common/Http.cpp
  src/platform/common/JsonFileUserDefaults.cpp
  src/platform/common/KeyCombination.cpp
  src/platform/common/Log.cpp
  src/platform/common/PlatformProfile.cpp
  src/platform/common/SystemClock.cpp
  src/platform/common/Threads.cpp
  src/platform/common/UserDefaults.cpp
)
target_link_libraries(tavrin_platform PUBLIC tavrin_foundation PRIVATE CURL::libcurl PkgConfig::GLIB)

# In-memory desktop and virtual time, for tests and replays.
add_library(tavrin_fake STATIC)
target_sources(tavrin_fake PRIVATE
  src/platform/fake/FakeDesktop.cpp
  src/platform/fake/VirtualScheduler.cpp
)
target_link_libraries(tavrin_fake PUBLIC tavrin_platform)

# Turns a Wayland protocol's XML into its client header and code, built into `target`.
function(tavrin_wayland_protocol target xml)
  get_filename_component(name ${xml} NAME_WE)
  set(dir ${CMAKE_BINARY_DIR}/wayland-protocols)
  add_custom_command(OUTPUT ${dir}/${name}-client-protocol.h ${dir}/${name}-protocol.c
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
    COMMAND ${WAYLAND_SCANNER} client-header ${xml} ${dir}/${name}-client-protocol.h
    COMMAND ${WAYLAND_SCANNER} private-code ${xml} ${dir}/${name}-protocol.c
    DEPENDS ${xml}
    COMMENT "Generating the Wayland protocol ${name}")
  target_sources(${target} PRIVATE ${dir}/${name}-client-protocol.h ${dir}/${name}-protocol.c)
  target_include_directories(${target} PRIVATE ${dir})
endfunction()

set(TAVRIN_LINUX_PLATFORM OFF)
set(TAVRIN_WAYLAND OFF)
if(NOT TAVRIN_CORE_ONLY)
  pkg_check_modules(WAYLAND IMPORTED_TARGET wayland-client)
  pkg_get_variable(WAYLAND_SCANNER wayland-scanner wayland_scanner)
  # The input devices' keys in a Wayland session.
  pkg_check_modules(EVDEV IMPORTED_TARGET libevdev)
  if(WAYLAND_FOUND AND WAYLAND_SCANNER AND EVDEV_FOUND)
    set(TAVRIN_WAYLAND ON)
  endif()
  pkg_check_modules(SYSTEMD IMPORTED_TARGET libsystemd)
  pkg_check_modules(X11 IMPORTED_TARGET x11 xi xkbcommon)
  pkg_check_modules(ATSPI IMPORTED_TARGET atspi-2 gio-2.0)
  pkg_check_modules(XCB IMPORTED_TARGET xcb xcb-shm)
  if(SYSTEMD_FOUND AND X11_FOUND AND ATSPI_FOUND AND XCB_FOUND AND TAVRIN_WAYLAND)
    set(TAVRIN_LINUX_PLATFORM ON)
  elseif(DEFINED ENV{CI})
    message(FATAL_ERROR "X11, Wayland, AT-SPI, XCB or libsystemd is missing: run scripts/install-deps")
  else()
    message(WARNING "X11, Wayland, AT-SPI, XCB or libsystemd is missing (scripts/install-deps installs them): "
      "only the core and the fake platform are built")
  endif()
endif()

if(TAVRIN_LINUX_PLATFORM)
  # The Linux desktop: X11 (also XWayland applications), AT-SPI, the journal, the XDG folders.
  add_library(tavrin_linux STATIC)
  target_sources(tavrin_linux PRIVATE
    src/platform/linux/AtspiAccessibility.cpp
    src/platform/linux/AtspiMenuReader.cpp
    src/platform/linux/AtspiMenuSelection.cpp
    src/platform/linux/AtspiElement.cpp
    src/platform/linux/AtspiSearch.cpp
    src/platform/linux/AtspiWindowAtPoint.cpp
    src/platform/linux/DesktopEntries.cpp
    src/platform/linux/DesktopHelpers.cpp
    src/platform/linux/HelperLink.cpp
    src/platform/linux/InstanceLock.cpp
    src/platform/linux/FileWatcher.cpp
    src/platform/linux/JournalLogSink.cpp
    src/platform/linux/LinuxApplicationMenus.cpp
    src/platform/linux/LinuxSystemInfo.cpp
    src/platform/linux/X11Desktop.cpp
    src/platform/linux/X11GlobalShortcut.cpp
    src/platform/linux/X11InputMonitor.cpp
    src/platform/linux/X11Keys.cpp
    src/platform/linux/X11Windows.cpp
    src/platform/linux/X11ScreenCapture.cpp
    src/platform/linux/XdgPaths.cpp
  )
  # OpenCV's targets are made where the picture path finds it (src/CMakeLists.txt).
  target_link_libraries(tavrin_linux PUBLIC tavrin_platform PkgConfig::SYSTEMD PkgConfig::X11 PkgConfig::ATSPI
    PRIVATE PkgConfig::XCB OpenCV::imgproc OpenCV::core)
endif()

if(TAVRIN_LINUX_PLATFORM)
  # A Wayland session: the application in front and the keys from the accessibility bus's events,
  # the window list of wlroots compositors; X11 applications under XWayland through the X11 side.
  add_library(tavrin_wayland STATIC)
  target_sources(tavrin_wayland PRIVATE
    src/platform/wayland/AccessibilityBusEvents.cpp
    src/platform/wayland/ActiveWindow.cpp
    src/platform/wayland/ForeignToplevels.cpp
    src/platform/wayland/HelperPointing.cpp
    src/platform/wayland/InputDevices.cpp
    src/platform/wayland/PortalScreenCapture.cpp
    src/platform/wayland/WaylandDesktop.cpp
    src/platform/wayland/WaylandInputMonitor.cpp
  )
  tavrin_wayland_protocol(tavrin_wayland
    ${CMAKE_CURRENT_SOURCE_DIR}/src/platform/wayland/protocols/wlr-foreign-toplevel-management-unstable-v1.xml)
  target_link_libraries(tavrin_wayland PUBLIC tavrin_linux PRIVATE PkgConfig::WAYLAND PkgConfig::EVDEV PkgConfig::PNG
    OpenCV::imgproc OpenCV::core)
endif()
