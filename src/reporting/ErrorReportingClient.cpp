#include "reporting/ErrorReportingClient.h"

#include "foundation/Uuid.h"
#include "platform/common/Threads.h"
#include "reporting/CrashHandler.h"

namespace tavrin {

namespace {

std::string rfc3339(Date date) {
    return formatDate(date) + "Z";
}

// 32 lower-case hex digits, as the service names events.
std::string eventId() {
    std::string id;
    for (const char c : Uuid::random().toString())
        if (c != '-')
            id.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    return id;
}

} // namespace

ErrorReportingClient::ErrorReportingClient(Configuration configuration)
    : config_(std::move(configuration)), log_(std::string(kLogSubsystem), "ErrorReporting") {}

ErrorReportingClient::~ErrorReportingClient() {
    if (!sender_.joinable())
        return;
    flush(std::chrono::milliseconds(1000));
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        queue_.clear();
    }
    cancel_ = true;
    wake_.notify_all();
    sender_.join();
}

void ErrorReportingClient::start(const ErrorReportingOptions& options) {
    if (started_)
        return;
    started_ = true;
    options_ = options;
    if (!options.dsn.empty()) {
        dsn_ = Dsn::parse(options.dsn);
        if (!dsn_)
            log_.error("The error-reporting DSN does not parse; reports stay on this machine");
    }
    log_.info("Error reporting started: release " + options.releaseName + ", environment " + options.environment +
              (dsn_ ? ", reports go to " + dsn_->host : ", reports stay on this machine"));
    if (dsn_)
        sender_ = startThread([this] { send(); });
    if (config_.crashRecord.empty())
        return;
    if (const auto crash = takeCrashRecord(config_.crashRecord)) {
        const Date when{std::chrono::seconds(crash->time)};
        capture("fatal", "Tavrin crashed: " + signalName(crash->signal), when,
                crash->release.empty() ? options.releaseName : crash->release);
    }
    if (options.enableCrashHandler && !installCrashHandler(config_.crashRecord, options.releaseName))
        log_.error("The crash handler could not be installed");
}

void ErrorReportingClient::captureMessage(const std::string& message) {
    capture("info", message, config_.clock->now(), options_.releaseName);
}

void ErrorReportingClient::startTransaction(const std::string& name, const std::string& operation) {
    log_.info("Transaction " + name + " (" + operation + ") started; it is never finished, so never sent");
}

void ErrorReportingClient::setUser(const std::string& userId) {
    userId_ = userId;
}

nlohmann::json ErrorReportingClient::makeEvent(const std::string& level, const std::string& message, Date time,
                                               const std::string& release) const {
    nlohmann::json event = {
        {"event_id", eventId()},
        {"timestamp", rfc3339(time)},
        {"platform", "native"},
        {"level", level},
        {"logger", "tavrin"},
        {"message", {{"formatted", message}}},
        {"release", release},
        {"environment", options_.environment},
        {"sdk", {{"name", "tavrin"}, {"version", config_.clientVersion}}},
        {"contexts", {{"os", {{"name", "Linux"}}}}},
    };
    if (!userId_.empty())
        event["user"] = {{"id", userId_}};
    return event;
}

void ErrorReportingClient::capture(const std::string& level, const std::string& message, Date time,
                                   const std::string& release) {
    if (!started_)
        return;
    const std::string line = "Event (" + level + "): " + message;
    level == "fatal" ? log_.error(line) : log_.info(line);
    if (!dsn_)
        return;
    const auto event = makeEvent(level, message, time, release);
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(event);
    }
    wake_.notify_all();
}

bool ErrorReportingClient::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return drained_.wait_for(lock, limit, [this] { return queue_.empty() && !sending_; });
}

void ErrorReportingClient::send() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (stopping_)
            return;
        const auto event = std::move(queue_.front());
        queue_.pop_front();
        sending_ = true;
        lock.unlock();
        const std::string body = makeEnvelope(event, "event", rfc3339(config_.clock->now()), config_.clientVersion);
        const auto response = config_.post(dsn_->envelopeUrl(), body, dsn_->headers(config_.clientVersion), &cancel_);
        if (response.status < 200 || response.status >= 300)
            log_.error("An error report could not be delivered: " +
                       (response.status ? "HTTP " + std::to_string(response.status) : response.error));
        lock.lock();
        sending_ = false;
        drained_.notify_all();
    }
}

} // namespace tavrin
