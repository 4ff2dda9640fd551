#pragma once

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/common/Http.h"
#include "reporting/Envelope.h"
#include "reporting/ErrorReporting.h"

namespace tavrin {

// The hosted error-reporting service's client, as far as the application needs it. Every event
// is written to the system log. Without a DSN that is all: nothing leaves the machine. With one,
// events are posted as envelopes by a thread of its own, never waiting on the caller; one that
// cannot be delivered is logged and dropped. Transactions are logged and never transmitted
// (the application never finishes one). A crash recorded by the handler is reported at the
// next start.
class ErrorReportingClient final : public ErrorReporting {
public:
    using Post = std::function<HttpResponse(const std::string& url, const std::string& body,
                                            const std::vector<std::string>& headers, const std::atomic<bool>* cancel)>;
    struct Configuration {
        // Where the crash handler writes; empty: no crash handler, no crash reports.
        std::filesystem::path crashRecord;
        const Clock* clock = nullptr;
        std::string clientVersion = "0.0.0";
        Post post = httpPost;
    };

    explicit ErrorReportingClient(Configuration configuration);
    // Delivers what is queued within a second; the rest is dropped, and a delivery under way is
    // broken off.
    ~ErrorReportingClient() override;

    void start(const ErrorReportingOptions& options) override;
    void captureMessage(const std::string& message) override;
    void startTransaction(const std::string& name, const std::string& operation) override;
    void setUser(const std::string& userId) override;

    // Waits until every queued envelope has been tried, at most `limit`. True when none is left.
    bool flush(std::chrono::milliseconds limit);

    // The event as the service receives it.
    nlohmann::json makeEvent(const std::string& level, const std::string& message, Date time,
                             const std::string& release) const;

private:
    void capture(const std::string& level, const std::string& message, Date time, const std::string& release);
    void send();

    Configuration config_;
    Logger log_;
    ErrorReportingOptions options_;
    std::optional<Dsn> dsn_;
    std::string userId_;
    bool started_ = false;

    std::mutex mutex_;
    std::condition_variable wake_, drained_;
    std::deque<nlohmann::json> queue_;
    bool sending_ = false;
    bool stopping_ = false;
    std::atomic<bool> cancel_{false};
    std::thread sender_;
};

} // namespace tavrin
