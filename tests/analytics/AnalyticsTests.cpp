#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include <nlohmann/json.hpp>

#include "State/ClickAnalysis.h"
#include "analytics/RealAnalyticsManager.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/LoopbackServer.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

using json = nlohmann::json;
using namespace std::chrono_literals;

TEST(ClickAnalysisEventTest, PropertiesDescribeTheDecision) {
    ClickAnalysis analysis{
        Uuid{}, *parseDate("2026-11-22T10:00:00.000"), {"Bold", 1.0}, {"SCREENSHOT_CAPTURE_REMOVED", 0.0f}, {}};
    const ClickAnalysis::FinalResult found{"Bold", 1.0, ClickAnalysis::ResultSource::accessibility};
    auto p = clickAnalysisProperties(analysis, found, "app|x");
    EXPECT_EQ(p.at("confidence_difference"), PropertyValue(1.0));
    EXPECT_EQ(p.at("accessibility_higher_confidence"), PropertyValue(true));
    EXPECT_EQ(p.at("classification_confidence"), PropertyValue(0.0f)) << "a float stays a float";
    EXPECT_EQ(p.at("is_fallback_result"), PropertyValue(false));
    EXPECT_EQ(p.at("element_found_by"), PropertyValue(std::string("hit test")));

    // A mismatch is confident only when both sides are above 0.9.
    const std::tuple<double, float, bool> mismatches[] = {
        {0.95, 0.95f, true}, {0.85, 0.95f, false}, {0.95, 0.85f, false}};
    for (const auto& [accessibility, classification, confident] : mismatches) {
        analysis.accessibilityResult = {"Bold", accessibility};
        analysis.classificationResult = {"button", classification};
        EXPECT_EQ(clickAnalysisProperties(analysis, found, "app|x").at("high_confidence_mismatch"),
                  PropertyValue(confident))
            << accessibility << " against " << classification;
    }

    analysis.accessibilityResult = {"NOT_FOUND", 0.0};
    p = clickAnalysisProperties(analysis, {"unknown", 0.0, ClickAnalysis::ResultSource::fallback}, std::nullopt);
    EXPECT_EQ(p.count("namespace_id"), 0u) << "no key rather than an empty value";
    EXPECT_EQ(p.at("is_fallback_result"), PropertyValue(true));
}

// Until `done` holds, at most 5 s (a generous bound: only a fault takes that long).
template <class Done> bool eventually(Done done) {
    for (int i = 0; i < 500 && !done(); ++i)
        std::this_thread::sleep_for(10ms);
    return done();
}

struct AnalyticsClientTest : ::testing::Test {
    testing::TempDir dir;
    testing::FixedClock clock;
    testing::ScopedLogCapture log;

    AnalyticsClient::Configuration config(const testing::LoopbackServer& server) {
        AnalyticsClient::Configuration c;
        c.endpoint = server.url();
        c.storage = dir.path();
        c.retryPause = 1ms;
        c.flushInterval = 60s; // tests flush explicitly or fill a batch
        return c;
    }
    // A client the user has agreed to.
    std::unique_ptr<AnalyticsClient> agreed(const testing::LoopbackServer& server) {
        auto client = std::make_unique<AnalyticsClient>(config(server), std::make_unique<CurlTransport>(), clock);
        client->setConsent(AnalyticsClient::Consent::given);
        return client;
    }
    static std::vector<json> batches(const testing::LoopbackServer& server) {
        std::vector<json> out;
        for (const auto& body : server.bodies())
            out.push_back(json::parse(body));
        return out;
    }
    static std::vector<std::string> types(const json& events) {
        std::vector<std::string> out;
        for (const auto& event : events)
            out.push_back(event["event_type"]);
        return out;
    }
    std::vector<std::string> onDisk() const {
        std::vector<std::string> out;
        std::ifstream queue(dir / "analytics-queue.jsonl");
        for (std::string line; std::getline(queue, line);)
            out.push_back(json::parse(line)["event_type"]);
        return out;
    }
};

TEST_F(AnalyticsClientTest, SendsFullBatchesWithEveryField) {
    testing::LoopbackServer server;
    auto owned = agreed(server);
    auto& client = *owned;
    client.setUserId("anon");
    for (int i = 0; i < 30; ++i) {
        client.track("Toggle Floating Mode", json{{"isFloating", i % 2 == 0}});
        clock.advance(1s);
    }
    ASSERT_TRUE(eventually([&] { return !server.bodies().empty(); })) << "a full batch goes at once";
    client.flush();
    const auto sent = batches(server);
    ASSERT_GE(sent.size(), 2u);
    EXPECT_EQ(sent[0]["api_key"], "0123456789abcdef0123456789abcdef");
    EXPECT_EQ(sent[0]["events"].size(), 30u) << "a batch is 30 events";
    EXPECT_EQ(sent[0]["events"][0]["event_type"], "session_start");
    const auto& event = sent[0]["events"][1];
    EXPECT_EQ(event["event_type"], "Toggle Floating Mode");
    EXPECT_EQ(event["user_id"], "anon");
    EXPECT_EQ(event["device_id"], client.deviceId());
    EXPECT_EQ(event["time"], millisecondsSinceEpoch(*parseDate("2026-11-22T10:00:00.000")));
    EXPECT_EQ(event["session_id"], event["time"]);
    EXPECT_EQ(event["event_properties"]["isFloating"], true);
    EXPECT_EQ(client.queued(), 0u);
}

TEST_F(AnalyticsClientTest, SessionsEndAfterFiveQuietMinutes) {
    testing::LoopbackServer server;
    auto client = agreed(server);
    client->track("A", json::object());
    clock.advance(5min);
    client->track("B", json::object());
    const auto lastOfFirst = millisecondsSinceEpoch(clock.now());
    clock.advance(5min + 1ms);
    client->track("C", json::object());
    client->flush();
    const auto events = batches(server).at(0)["events"];
    EXPECT_EQ(types(events),
              (std::vector<std::string>{"session_start", "A", "B", "session_end", "session_start", "C"}));
    EXPECT_EQ(events[0]["session_id"], events[2]["session_id"]);
    EXPECT_EQ(events[3]["session_id"], events[2]["session_id"]);
    EXPECT_EQ(events[3]["time"], lastOfFirst) << "a session ends at its last event";
    EXPECT_NE(events[4]["session_id"], events[3]["session_id"]);
    EXPECT_EQ(events[4]["session_id"], events[5]["time"]);

    client.reset(); // the quit ends the session
    const auto last = batches(server).back()["events"];
    EXPECT_EQ(last.back()["event_type"], "session_end");
}

// Neither a flush, a full batch, the interval's rounds nor the quit sends before the user agrees;
// then the interval sends what waited.
TEST_F(AnalyticsClientTest, NothingLeavesBeforeTheUserAgrees) {
    testing::LoopbackServer server;
    auto c = config(server);
    c.flushInterval = 5ms;
    {
        AnalyticsClient client(c, std::make_unique<CurlTransport>(), clock);
        client.track("FTUE Step Completed", json::object());
        client.flush();
        for (int i = 0; i < 31; ++i)
            client.track("Toggle Floating Mode", json::object());
        std::this_thread::sleep_for(300ms); // some sixty rounds of the timer
    }
    EXPECT_TRUE(server.bodies().empty());
    ASSERT_EQ(onDisk().size(), 34u) << "kept on disk, with the session's start and end";

    AnalyticsClient next(c, std::make_unique<CurlTransport>(), clock);
    EXPECT_EQ(next.queued(), 34u);
    next.setConsent(AnalyticsClient::Consent::given);
    const auto sent = [&] {
        std::size_t n = 0;
        for (const auto& batch : batches(server))
            n += batch["events"].size();
        return n;
    };
    EXPECT_TRUE(eventually([&] { return sent() == 34u; })) << "what waited goes once the user agrees";
}

TEST_F(AnalyticsClientTest, ARefusalDropsWhatWaitedAndEverythingAfter) {
    testing::LoopbackServer server;
    AnalyticsClient client(config(server), std::make_unique<CurlTransport>(), clock);
    client.track("FTUE Step Completed", json::object());
    client.setConsent(AnalyticsClient::Consent::refused);
    EXPECT_EQ(client.queued(), 0u);
    EXPECT_TRUE(onDisk().empty()) << "dropped from disk too";
    client.track("Toggle Floating Mode", json::object());
    EXPECT_EQ(client.queued(), 0u);

    // Withdrawn after it was given: what is still queued goes nowhere.
    client.setConsent(AnalyticsClient::Consent::given);
    client.track("Shortcut Flagged", json::object());
    client.flush();
    client.track("Shortcut Learned Toggled", json::object());
    client.setConsent(AnalyticsClient::Consent::refused);
    client.track("Launch At Login Toggled", json::object());
    client.flush();
    ASSERT_EQ(batches(server).size(), 1u);
    EXPECT_EQ(types(batches(server)[0]["events"]), (std::vector<std::string>{"session_start", "Shortcut Flagged"}));
    EXPECT_EQ(client.queued(), 0u);
}

TEST_F(AnalyticsClientTest, RetriesAndKeepsWhatFailsAcrossARestart) {
    {
        testing::LoopbackServer failing({500});
        auto client = agreed(failing);
        client->track("Shortcut Flagged", json{{"shortcut_id", 7}});
        client->flush();
        EXPECT_EQ(failing.bodies().size(), 6u) << "the first try and five retries";
        EXPECT_EQ(client->queued(), 2u) << "kept for later, with the session's start";
    }
    testing::LoopbackServer recovering({503, 200});
    auto client = agreed(recovering);
    EXPECT_EQ(client->queued(), 3u) << "loaded from disk, with the session's end";
    client->flush();
    EXPECT_EQ(client->queued(), 0u);
    const auto sent = batches(recovering);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(types(sent[1]["events"]), (std::vector<std::string>{"session_start", "Shortcut Flagged", "session_end"}));
    client.reset();

    // A batch the service refuses is dropped, not tried again.
    testing::LoopbackServer refusing({400});
    client = agreed(refusing);
    client->track("Shortcut Flagged", json::object());
    client->flush();
    EXPECT_EQ(refusing.bodies().size(), 1u);
    EXPECT_EQ(client->queued(), 0u);
    client.reset(); // before the server goes
}

TEST_F(AnalyticsClientTest, TrackingNeverWaitsForTheNetwork) {
    testing::LoopbackServer hung;
    hung.silent = true;
    auto client = agreed(hung);
    client->track("Launch At Login Toggled", json{{"launch_at_login", true}});
    client->flush(10ms); // the sender is now stuck on the hung service
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        client->track("Launch At Login Toggled", json{{"launch_at_login", true}});
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << "generous: only a hang would take this long";
    hung.silent = false;
}

// While a batch is on its way the queue may be trimmed, emptied or refilled: the answer removes the
// events the batch carried and nothing else.
TEST_F(AnalyticsClientTest, ASendRemovesExactlyWhatItCarried) {
    const struct {
        const char* meanwhile;
        void (*act)(AnalyticsClient&);
        std::vector<std::string> sentAfter;
    } cases[] = {{"the queue is trimmed",
                  [](AnalyticsClient& c) {
                      for (const char* type : {"B", "C", "D"})
                          c.track(type, json::object());
                  },
                  {"B", "C", "D"}},
                 {"the user deletes everything",
                  [](AnalyticsClient& c) {
                      c.startAfresh();
                      c.track("X", json::object());
                  },
                  {"session_start", "X"}},
                 {"sharing goes off and on again",
                  [](AnalyticsClient& c) {
                      c.setConsent(AnalyticsClient::Consent::refused);
                      c.setConsent(AnalyticsClient::Consent::given);
                      c.track("Y", json::object());
                  },
                  {"session_start", "Y"}}};
    for (const auto& [meanwhile, act, sentAfter] : cases) {
        SCOPED_TRACE(meanwhile);
        testing::LoopbackServer server;
        server.held = true;
        auto c = config(server);
        c.flushQueueSize = 2;
        c.maxQueued = 4;
        AnalyticsClient client(c, std::make_unique<CurlTransport>(), clock);
        client.setConsent(AnalyticsClient::Consent::given);
        client.track("A", json::object()); // a full batch with the session's start: sent at once
        ASSERT_TRUE(eventually([&] { return server.bodies().size() == 1; }));
        act(client);
        server.held = false;
        client.flush();
        const auto sent = batches(server);
        ASSERT_FALSE(sent.empty());
        EXPECT_EQ(types(sent[0]["events"]), (std::vector<std::string>{"session_start", "A"}));
        std::vector<std::string> after;
        for (std::size_t i = 1; i < sent.size(); ++i)
            for (const auto& type : types(sent[i]["events"]))
                after.push_back(type);
        EXPECT_EQ(after, sentAfter);
        EXPECT_EQ(client.queued(), 0u);
    }
}

// Events reach the disk behind the caller and at the quit, also after `data forget --all` has
// deleted the folder under the running client.
TEST_F(AnalyticsClientTest, TheQueueIsWrittenBehindAndAtTheQuitIntoAFolderMadeAgain) {
    testing::LoopbackServer server;
    auto c = config(server);
    c.saveDelay = 1h;
    std::string deviceId;
    {
        AnalyticsClient client(c, std::make_unique<CurlTransport>(), clock);
        client.track("A", json::object());
        EXPECT_TRUE(onDisk().empty()) << "not written by the caller";
        client.startAfresh();
        std::filesystem::remove_all(dir.path());
        client.track("B", json::object());
        deviceId = client.deviceId();
    }
    EXPECT_EQ(onDisk(), (std::vector<std::string>{"session_start", "B", "session_end"})) << "written at the quit";
    std::string storedId;
    std::getline(std::ifstream(dir / "analytics-device-id"), storedId);
    EXPECT_EQ(storedId, deviceId);

    c.saveDelay = 10ms;
    AnalyticsClient client(c, std::make_unique<CurlTransport>(), clock);
    client.track("C", json::object());
    EXPECT_TRUE(eventually([&] { return onDisk().size() == 5; })) << "written within the delay, before any quit";
}

TEST(AnalyticsPropertiesTest, DatesAndStepsAreEncodedForTheService) {
    const auto out = propertiesJson(Properties{{"final_step", FTUEStep::privacySetup},
                                               {"timestamp", *parseDate("2026-11-22T10:00:00.000")},
                                               {"shortcut_id", std::int64_t{3}}});
    EXPECT_EQ(out["final_step"], 4);
    EXPECT_EQ(out["timestamp"], "2026-11-22T10:00:00.000");
    EXPECT_EQ(out["shortcut_id"], 3);
    EXPECT_EQ(propertiesJson(std::nullopt), json::object());
}

} // namespace
} // namespace tavrin
