#include "analytics/RealAnalyticsManager.h"

#include <fstream>
#include <sstream>

#include "foundation/Uuid.h"
#include "platform/Log.h"
#include "platform/common/Http.h"

namespace tavrin {

namespace {

std::mutex sharedMutex;
std::weak_ptr<RealAnalyticsManager> sharedManager;

} // namespace

int CurlTransport::post(const std::string& url, const std::string& body) {
    return httpPost(url, body, {"Content-Type: application/json"}).status;
}

nlohmann::json propertiesJson(const std::optional<Properties>& properties) {
    nlohmann::json out = nlohmann::json::object();
    if (!properties)
        return out;
    for (const auto& [key, value] : *properties)
        out[key] = std::visit(
            [](const auto& v) -> nlohmann::json {
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, Date>)
                    return formatDate(v);
                else if constexpr (std::is_same_v<T, FTUEStep>)
                    return static_cast<std::int64_t>(v);
                else
                    return v;
            },
            value);
    return out;
}

AnalyticsClient::AnalyticsClient(Configuration configuration, std::unique_ptr<AnalyticsTransport> transport,
                                 const Clock& clock)
    : config_(std::move(configuration)), transport_(std::move(transport)), clock_(clock) {
    std::error_code ec;
    std::filesystem::create_directories(config_.storage, ec);
    // What the user did, before it is sent: readable by the user alone.
    std::filesystem::permissions(config_.storage, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::replace, ec);
    std::ifstream device(config_.storage / "analytics-device-id");
    std::getline(device, deviceId_);
    if (deviceId_.empty()) {
        deviceId_ = Uuid::random().toString();
        std::ofstream(config_.storage / "analytics-device-id") << deviceId_ << '\n';
    }
    // What an earlier run could not send.
    std::ifstream queued(config_.storage / "analytics-queue.jsonl");
    for (std::string line; std::getline(queued, line);) {
        auto event = nlohmann::json::parse(line, nullptr, false);
        if (!event.is_discarded() && event.is_object())
            queue_.push_back(std::move(event));
    }
    thread_ = std::thread([this] { run(); });
}

AnalyticsClient::~AnalyticsClient() {
    {
        std::lock_guard lock(mutex_);
        if (config_.trackSessions && sessionId_ >= 0 && consent_ != Consent::refused) {
            enqueue(sessionEndEvent, lastEventTime_, nlohmann::json::object());
            save();
        }
    }
    flush(std::chrono::milliseconds(1000));
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void AnalyticsClient::enqueue(const std::string& eventType, std::int64_t time, const nlohmann::json& properties) {
    queue_.push_back({{"event_type", eventType},
                      {"user_id", userId_},
                      {"device_id", deviceId_},
                      {"time", time},
                      {"event_properties", properties},
                      {"session_id", sessionId_}});
}

void AnalyticsClient::track(const std::string& eventType, const nlohmann::json& properties) {
    std::lock_guard lock(mutex_);
    if (consent_ == Consent::refused)
        return;
    const auto now = millisecondsSinceEpoch(clock_.now());
    if (sessionId_ < 0 || now - lastEventTime_ > config_.minTimeBetweenSessions.count()) {
        // The session before ends at its last event; the new one starts with this event.
        if (config_.trackSessions && sessionId_ >= 0)
            enqueue(sessionEndEvent, lastEventTime_, nlohmann::json::object());
        sessionId_ = now;
        if (config_.trackSessions)
            enqueue(sessionStartEvent, now, nlohmann::json::object());
    }
    lastEventTime_ = now;
    enqueue(eventType, now, properties);
    while (queue_.size() > config_.maxQueued)
        queue_.pop_front();
    save();
    if (queue_.size() >= config_.flushQueueSize && consent_ == Consent::given)
        wake_.notify_all();
}

void AnalyticsClient::setConsent(Consent consent) {
    {
        std::lock_guard lock(mutex_);
        if (consent == consent_)
            return;
        consent_ = consent;
        if (consent == Consent::refused) {
            queue_.clear();
            save();
            sessionId_ = -1; // its start went with the queue; a later consent starts a new one
        }
    }
    wake_.notify_all(); // what waited for the consent goes in the next round
}

AnalyticsClient::Consent AnalyticsClient::consent() const {
    std::lock_guard lock(mutex_);
    return consent_;
}

void AnalyticsClient::setUserId(const std::string& id) {
    std::lock_guard lock(mutex_);
    userId_ = id;
}

void AnalyticsClient::startAfresh() {
    std::lock_guard lock(mutex_);
    queue_.clear();
    save();
    sessionId_ = -1;
    deviceId_ = Uuid::random().toString();
    std::error_code ec;
    std::filesystem::create_directories(config_.storage, ec);
    std::ofstream(config_.storage / "analytics-device-id") << deviceId_ << '\n';
}

std::string AnalyticsClient::deviceId() const {
    std::lock_guard lock(mutex_);
    return deviceId_;
}

std::size_t AnalyticsClient::queued() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

void AnalyticsClient::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (consent_ != Consent::given)
        return;
    const auto round = rounds_;
    flushRequested_ = true;
    wake_.notify_all();
    flushed_.wait_for(lock, limit, [&] { return rounds_ > round && !flushRequested_; });
}

// Rewrites the queue file; small enough to write whole, atomically.
void AnalyticsClient::save() const {
    const auto file = config_.storage / "analytics-queue.jsonl";
    auto temporary = file;
    temporary += ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        for (const auto& event : queue_)
            out << event.dump() << '\n';
        if (!out.flush())
            return;
    }
    std::error_code ec;
    std::filesystem::rename(temporary, file, ec);
}

bool AnalyticsClient::sendBatch(std::unique_lock<std::mutex>& lock) {
    const std::size_t count = std::min(queue_.size(), config_.flushQueueSize);
    nlohmann::json events = nlohmann::json::array();
    for (std::size_t i = 0; i < count; ++i)
        events.push_back(queue_[i]);
    const std::string body = nlohmann::json{{"api_key", config_.apiKey}, {"events", events}}.dump();
    auto pause = config_.retryPause;
    for (int attempt = 0; attempt <= config_.flushMaxRetries; ++attempt) {
        lock.unlock();
        const int status = transport_->post(config_.endpoint, body);
        lock.lock();
        if (status == 200 || status == 400) {
            if (status == 400)
                printLine("Analytics events were refused by the service and dropped");
            // Events tracked meanwhile were appended behind the batch.
            queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(std::min(count, queue_.size())));
            save();
            return true;
        }
        if (stopping_ || consent_ != Consent::given || attempt == config_.flushMaxRetries)
            break;
        wake_.wait_for(lock, pause, [&] { return stopping_; });
        pause *= 2;
    }
    return false;
}

void AnalyticsClient::run() {
    std::unique_lock lock(mutex_);
    bool failed = false;
    while (!stopping_) {
        // After a failed round only the timer or a flush starts the next one, not a full queue.
        wake_.wait_for(lock, config_.flushInterval, [&] {
            return stopping_ || flushRequested_ ||
                   (!failed && consent_ == Consent::given && queue_.size() >= config_.flushQueueSize);
        });
        if (stopping_)
            break;
        failed = false;
        while (consent_ == Consent::given && !queue_.empty())
            if (!sendBatch(lock)) {
                failed = true;
                break;
            }
        ++rounds_;
        flushRequested_ = false;
        flushed_.notify_all();
    }
}

std::shared_ptr<RealAnalyticsManager> RealAnalyticsManager::makeShared(std::unique_ptr<AnalyticsClient> client) {
    std::lock_guard lock(sharedMutex);
    auto manager = std::make_shared<RealAnalyticsManager>(std::move(client));
    sharedManager = manager;
    return manager;
}

std::shared_ptr<RealAnalyticsManager> RealAnalyticsManager::shared() {
    std::lock_guard lock(sharedMutex);
    return sharedManager.lock();
}

void RealAnalyticsManager::trackEvent(const std::string& name, const std::optional<Properties>& properties) {
    if (client_)
        client_->track(name, propertiesJson(properties));
}

void RealAnalyticsManager::setUserId(const std::string& id) {
    if (client_)
        client_->setUserId(id);
}

} // namespace tavrin
