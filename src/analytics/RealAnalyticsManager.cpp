#include "analytics/RealAnalyticsManager.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "foundation/Uuid.h"
#include "platform/Log.h"
#include "platform/common/Http.h"
#include "platform/common/Threads.h"

namespace tavrin {

namespace {

constexpr const char* kQueueFile = "analytics-queue.jsonl";
constexpr const char* kDeviceIdFile = "analytics-device-id";

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
    std::ifstream device(config_.storage / kDeviceIdFile);
    std::getline(device, deviceId_);
    if (deviceId_.empty()) {
        deviceId_ = Uuid::random().toString();
        std::ofstream(config_.storage / kDeviceIdFile) << deviceId_ << '\n';
    }
    // What an earlier run could not send.
    std::ifstream queued(config_.storage / kQueueFile);
    for (std::string line; std::getline(queued, line);) {
        auto event = nlohmann::json::parse(line, nullptr, false);
        if (!event.is_discarded() && event.is_object())
            queue_.push_back({nextSequence_++, std::move(event)});
    }
    thread_ = startThread([this] { run(); });
}

AnalyticsClient::~AnalyticsClient() {
    {
        std::unique_lock lock(mutex_);
        if (config_.trackSessions && sessionId_ >= 0 && consent_ != Consent::refused)
            enqueue(sessionEndEvent, lastEventTime_, nlohmann::json::object());
        // On disk before anything else can go wrong at the quit.
        if (dirty_)
            writeQueue(lock);
    }
    flush(std::chrono::milliseconds(1000));
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
    std::unique_lock lock(mutex_);
    if (dirty_)
        writeQueue(lock); // what the last sends removed
}

void AnalyticsClient::enqueue(const std::string& eventType, std::int64_t time, const nlohmann::json& properties) {
    queue_.push_back({nextSequence_++,
                      {{"event_type", eventType},
                       {"user_id", userId_},
                       {"device_id", deviceId_},
                       {"time", time},
                       {"event_properties", properties},
                       {"session_id", sessionId_}}});
    markChanged();
}

void AnalyticsClient::markChanged() {
    if (dirty_)
        return;
    dirty_ = true;
    dirtySince_ = Steady::now();
    wake_.notify_all();
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
    if (queue_.size() >= config_.flushQueueSize && consent_ == Consent::given)
        wake_.notify_all();
}

void AnalyticsClient::setConsent(Consent consent) {
    {
        std::unique_lock lock(mutex_);
        if (consent == consent_)
            return;
        consent_ = consent;
        if (consent == Consent::refused) {
            queue_.clear();
            sessionId_ = -1; // its start went with the queue; a later consent starts a new one
            writeQueue(lock);
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
    std::unique_lock lock(mutex_);
    queue_.clear();
    sessionId_ = -1;
    deviceId_ = Uuid::random().toString();
    deviceIdChanged_ = true;
    writeQueue(lock);
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

// The queue is small enough to write whole, atomically. Written by whoever holds the newest
// state: a write that finds a newer one done is skipped.
void AnalyticsClient::writeQueue(std::unique_lock<std::mutex>& lock) {
    std::string text;
    for (const auto& queued : queue_)
        text += queued.event.dump() + '\n';
    const auto write = ++writesStarted_;
    const std::string deviceId = deviceId_;
    bool withDeviceId = std::exchange(deviceIdChanged_, false);
    dirty_ = false;
    lock.unlock();
    bool written = true;
    {
        std::lock_guard file(fileMutex_);
        if (write > lastWritten_) {
            std::error_code ec;
            if (!std::filesystem::is_directory(config_.storage, ec)) {
                // Deleted under us (`data forget --all`): made again as at the start.
                std::filesystem::create_directories(config_.storage, ec);
                std::filesystem::permissions(config_.storage, std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::replace, ec);
                withDeviceId = true;
            }
            if (withDeviceId)
                written = static_cast<bool>(std::ofstream(config_.storage / kDeviceIdFile) << deviceId << '\n');
            const auto file = config_.storage / kQueueFile;
            auto temporary = file;
            temporary += ".tmp";
            {
                std::ofstream out(temporary, std::ios::trunc);
                out << text;
                written = static_cast<bool>(out.flush()) && written;
            }
            std::filesystem::rename(temporary, file, ec);
            written = written && !ec;
            lastWritten_ = write;
        }
    }
    lock.lock();
    if (!written) {
        // Tried again a moment later (a full disk, a folder being deleted).
        deviceIdChanged_ = deviceIdChanged_ || withDeviceId;
        markChanged();
    }
}

void AnalyticsClient::idle(std::unique_lock<std::mutex>& lock, Steady::time_point until,
                           const std::function<bool()>& stop) {
    while (!stop()) {
        const auto now = Steady::now();
        if (dirty_ && now >= dirtySince_ + config_.saveDelay) {
            writeQueue(lock);
            continue;
        }
        if (now >= until)
            return;
        wake_.wait_until(lock, dirty_ ? std::min(until, dirtySince_ + config_.saveDelay) : until);
    }
}

bool AnalyticsClient::sendBatch(std::unique_lock<std::mutex>& lock) {
    const std::size_t count = std::min(queue_.size(), config_.flushQueueSize);
    nlohmann::json events = nlohmann::json::array();
    for (std::size_t i = 0; i < count; ++i)
        events.push_back(queue_[i].event);
    const auto lastSent = queue_[count - 1].sequence;
    const std::string body = nlohmann::json{{"api_key", config_.apiKey}, {"events", events}}.dump();
    auto pause = config_.retryPause;
    for (int attempt = 0; attempt <= config_.flushMaxRetries; ++attempt) {
        lock.unlock();
        const int status = transport_->post(config_.endpoint, body);
        lock.lock();
        if (status == 200 || status == 400) {
            if (status == 400)
                printLine("Analytics events were refused by the service and dropped");
            // Meanwhile the queue may have been trimmed, emptied or refilled: newer events sit
            // behind the batch, with higher numbers.
            while (!queue_.empty() && queue_.front().sequence <= lastSent)
                queue_.pop_front();
            markChanged();
            return true;
        }
        if (stopping_ || consent_ != Consent::given || attempt == config_.flushMaxRetries)
            break;
        idle(lock, Steady::now() + pause, [&] { return stopping_; });
        pause *= 2;
    }
    return false;
}

void AnalyticsClient::run() {
    std::unique_lock lock(mutex_);
    bool failed = false;
    while (!stopping_) {
        // After a failed round only the timer or a flush starts the next one, not a full queue.
        idle(lock, Steady::now() + config_.flushInterval, [&] {
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
