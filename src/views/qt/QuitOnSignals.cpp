#include "views/qt/QuitOnSignals.h"

#include <QCoreApplication>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace tavrin {

namespace {

int writeEnd = -1;

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] auto written = ::write(writeEnd, &byte, 1);
}

constexpr int kQuitSignals[] = {SIGTERM, SIGINT, SIGHUP};

} // namespace

QuitOnSignals::QuitOnSignals() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds_) != 0)
        return;
    writeEnd = fds_[0];
    notifier_ = std::make_unique<QSocketNotifier>(fds_[1], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] {
        char bytes[16];
        while (::read(fds_[1], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : kQuitSignals)
        ::sigaction(signal, &action, nullptr);
}

QuitOnSignals::~QuitOnSignals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (const int signal : kQuitSignals)
        ::sigaction(signal, &action, nullptr);
    notifier_.reset();
    writeEnd = -1;
    for (const int fd : fds_)
        if (fd >= 0)
            ::close(fd);
}

} // namespace tavrin
