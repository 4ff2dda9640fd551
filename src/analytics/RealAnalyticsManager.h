#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "analytics/AnalyticsManaging.h"
#include "platform/Clock.h"

#ifndef TAVRIN_ANALYTICS_ENDPOINT
#define TAVRIN_ANALYTICS_ENDPOINT "https://api2.amplitude.com/2/httpapi"
#endif

namespace tavrin {

// Sends one request body; gives the HTTP status, or 0 when no answer came.
class AnalyticsTransport {
public:
    virtual ~AnalyticsTransport() = default;
    virtual int post(const std::string& url, const std::string& body) = 0;
};

// libcurl, with short time-outs.
class CurlTransport final : public AnalyticsTransport {
public:
    int post(const std::string& url, const std::string& body) override;
};

// The analytics service's batch client. Events are queued and written to disk behind the caller
// (at most once a second, and at the quit, so a quit or a network failure loses none) and sent by
// a thread of its own in batches: when 30 are waiting, every 30 s, and on flush(). A failed send
// is retried up to 5 times with growing pauses; what still fails stays queued for the next round.
// A send removes from the queue exactly the events it carried, whatever happened to the queue
// while it was under way. A session ends after 5 minutes without events; its start and end travel
// as the service's "session_start" and "session_end" events.
//
// Nothing goes over the network until the user's consent has been given: before that, events wait
// on disk (also across runs); once it is refused or withdrawn, the queue is dropped and later
// events with it.
class AnalyticsClient {
public:
    enum class Consent {
        pending, // not asked yet: keep events on disk, send nothing
        given,   // send
        refused, // drop what is queued and every later event
    };

    struct Configuration {
        std::string apiKey = "0123456789abcdef0123456789abcdef";
        std::string endpoint = TAVRIN_ANALYTICS_ENDPOINT;
        std::filesystem::path storage; // the queue and the device id live here
        std::size_t flushQueueSize = 30;
        std::chrono::milliseconds flushInterval{30000};
        int flushMaxRetries = 5;
        std::chrono::milliseconds retryPause{1000}; // doubles with each retry
        std::chrono::milliseconds minTimeBetweenSessions{300000};
        // How long identify calls (user property changes) are gathered into one. The product sets
        // no user properties: the user id travels with every event.
        std::chrono::milliseconds identifyBatchInterval{30000};
        bool trackSessions = true;    // "session_start" and "session_end" events
        std::size_t maxQueued = 1000; // the oldest go first beyond this
        // The queue is written at most this often while events come (and at the quit).
        std::chrono::milliseconds saveDelay{1000};
    };

    static constexpr const char* sessionStartEvent = "session_start";
    static constexpr const char* sessionEndEvent = "session_end";

    // Starts with the consent pending.
    AnalyticsClient(Configuration configuration, std::unique_ptr<AnalyticsTransport> transport, const Clock& clock);
    // Ends the session; with consent, sends what it can within a second. The rest stays on disk.
    ~AnalyticsClient();

    // Thread-safe; never waits for the network.
    void track(const std::string& eventType, const nlohmann::json& properties);
    void setUserId(const std::string& id);
    // Thread-safe. Refusing empties the queue on disk too, at once.
    void setConsent(Consent consent);
    Consent consent() const;
    // With consent, sends what is queued and waits until done or `limit` has passed; without,
    // returns at once.
    void flush(std::chrono::milliseconds limit = std::chrono::milliseconds(5000));

    // For a user who deleted their records: drops what is queued (on disk too, at once) and takes a
    // new device id, so that nothing sent later ties to what was sent before. Thread-safe. The
    // storage folder may be deleted at any time: the next write makes it again.
    void startAfresh();

    std::size_t queued() const;
    std::string deviceId() const;

private:
    using Steady = std::chrono::steady_clock;
    // A queued event and its place in the order of tracking, by which a send removes what it sent.
    struct Queued {
        std::uint64_t sequence;
        nlohmann::json event;
    };

    void run();
    // Waits until `until` or until `stop` holds (checked on every wake-up), writing the queue
    // meanwhile when it is due. Caller holds `lock`.
    void idle(std::unique_lock<std::mutex>& lock, Steady::time_point until, const std::function<bool()>& stop);
    bool sendBatch(std::unique_lock<std::mutex>& lock);
    void enqueue(const std::string& eventType, std::int64_t time, const nlohmann::json& properties);
    // The queue changed: the client's thread writes it within saveDelay. Caller holds the mutex.
    void markChanged();
    // Writes the queue as it stands (and the device id where the folder was gone or the id is
    // new), with `lock` released while the file is written. A write never replaces a newer one.
    void writeQueue(std::unique_lock<std::mutex>& lock);

    Configuration config_;
    std::unique_ptr<AnalyticsTransport> transport_;
    const Clock& clock_;
    std::string deviceId_;
    bool deviceIdChanged_ = false; // not written yet
    mutable std::mutex mutex_;
    std::condition_variable wake_, flushed_;
    std::deque<Queued> queue_;
    std::uint64_t nextSequence_ = 0;
    bool dirty_ = false; // the file lags the queue
    Steady::time_point dirtySince_;
    std::uint64_t writesStarted_ = 0;
    std::mutex fileMutex_; // the file; never held with mutex_
    std::uint64_t lastWritten_ = 0;
    std::string userId_;
    std::int64_t sessionId_ = -1;
    std::int64_t lastEventTime_ = 0;
    Consent consent_ = Consent::pending;
    bool flushRequested_ = false;
    bool stopping_ = false;
    std::uint64_t rounds_ = 0;
    std::thread thread_;
};

// The real analytics sink: hands every event to the batch client. One shared instance, equal only
// to itself.
class RealAnalyticsManager final : public AnalyticsManaging {
public:
    explicit RealAnalyticsManager(std::unique_ptr<AnalyticsClient> client) : client_(std::move(client)) {}

    // Builds the shared instance; call once, before the first state is made. The caller owns it
    // (the application's wiring, which ends it in order at the quit); shared() finds it meanwhile.
    static std::shared_ptr<RealAnalyticsManager> makeShared(std::unique_ptr<AnalyticsClient> client);
    // The shared instance while its owner keeps it; none before or after.
    static std::shared_ptr<RealAnalyticsManager> shared();

    void trackEvent(const std::string& name, const std::optional<Properties>& properties) override;
    void setUserId(const std::string& id) override;
    bool equals(const AnalyticsManaging& other) const override { return this == &other; }

    // Ends the client at the quit (its session, what it may still send), though states may still
    // hold the manager; later events go nowhere. Main thread, as the events.
    void close() { client_.reset(); }

    // The client, until close().
    AnalyticsClient& client() { return *client_; }

private:
    std::unique_ptr<AnalyticsClient> client_;
};

// An event property as the service receives it: dates as text, first-run steps as their number.
nlohmann::json propertiesJson(const std::optional<Properties>& properties);

} // namespace tavrin
