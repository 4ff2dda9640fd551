#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace tavrin {

// SIGTERM (the session ending, systemd), SIGINT and SIGHUP quit the application through its
// event loop, so the termination order runs. The handler only writes a byte to a socket pair; the
// loop reads it. One instance per process; made after the application object.
class QuitOnSignals {
public:
    QuitOnSignals();
    ~QuitOnSignals();

private:
    int fds_[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace tavrin
