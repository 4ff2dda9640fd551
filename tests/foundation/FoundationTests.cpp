#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/Date.h"
#include "foundation/Geometry.h"
#include "foundation/LimitedQueue.h"
#include "foundation/Text.h"
#include "foundation/Uuid.h"
#include "support/Fakes.h"

namespace tavrin {
namespace {

using testing::uuid;

TEST(LimitedQueueTest, KeepsTheNewestTenAndLooksUpNewestFirst) {
    LimitedQueue<int> queue;
    for (std::uint8_t i = 0; i < 10; ++i)
        queue.enqueue(uuid(i), i);
    queue.enqueue(uuid(10), 10);
    ASSERT_EQ(queue.items.size(), 10u);
    EXPECT_EQ(queue.items.front(), (std::pair{uuid(10), 10}));
    EXPECT_EQ(queue.items.back(), (std::pair{uuid(1), 1}));
    EXPECT_EQ(queue.lookup(uuid(0)), nullptr) << "pushed out";

    queue.enqueue(uuid(5), 55);
    ASSERT_NE(queue.lookup(uuid(5)), nullptr);
    EXPECT_EQ(*queue.lookup(uuid(5)), 55) << "the newer entry for a UUID wins";
    EXPECT_EQ(std::count_if(queue.items.begin(), queue.items.end(), [](auto& p) { return p.first == uuid(5); }), 2);

    LimitedQueue<int> small{{}, 2};
    for (std::uint8_t i = 1; i <= 3; ++i)
        small.enqueue(uuid(i), i);
    EXPECT_EQ(small.items.size(), 2u);
    EXPECT_EQ(small.lookup(uuid(1)), nullptr) << "a smaller bound holds too";
}

TEST(TextTest, LowerCasesAndTrimsByUnicodeRules) {
    EXPECT_EQ(lowercased("\u00C9DITION Sp\u00C9CIALE"), "\u00E9dition sp\u00E9ciale");
    EXPECT_EQ(lowercased("Mozilla FIREFOX"), "mozilla firefox");
    EXPECT_EQ(trimmed("\u00A0 Gmail\u3000\n\t"), "Gmail");
    EXPECT_EQ(trimmed(" a \u00A0 b "), "a \u00A0 b") << "white space inside stays";
    EXPECT_EQ(trimmed("\u2003\u00A0"), "");
    EXPECT_EQ(trimmed(" \xff "), "\xff") << "bytes that are not UTF-8 are kept";
}

TEST(DateTest, FormatsAndParsesTheDatabaseForm) {
    const auto date = parseDate("2026-11-22T09:05:01.123");
    ASSERT_TRUE(date);
    EXPECT_EQ(formatDate(*date), "2026-11-22T09:05:01.123");
    EXPECT_EQ(formatDate(Date{}), "1970-01-01T00:00:00.000");
    EXPECT_FALSE(parseDate("2026-11-22 09:05:01.123"));
    EXPECT_FALSE(parseDate("2026-02-30T09:05:01.123"));
    EXPECT_FALSE(parseDate("2026-11-22T09:05:01"));
    EXPECT_FALSE(parseDate("garbage"));
}

TEST(UuidTest, RoundTripsItsTextForm) {
    const Uuid id = Uuid::random();
    EXPECT_EQ(Uuid::fromString(id.toString()), id);
    EXPECT_EQ(id.toString()[14], '4') << "version 4";
    EXPECT_NE(Uuid::random(), id);
    EXPECT_FALSE(Uuid::fromString("not-a-uuid"));
}

TEST(GeometryTest, FlipsBetweenTheTwoOriginsOnTheScreensHeight) {
    // A 30 pixel panel along the top of an 800 pixel screen.
    const TopLeftRect panel{0, 0, 1280, 30};
    EXPECT_EQ(flipped(panel, 800), (BottomLeftRect{0, 770, 1280, 30}));
    EXPECT_EQ(flipped(flipped(panel, 800), 800), panel);
    EXPECT_EQ(flipped(BottomLeftPoint{10, 790}, 800), (TopLeftPoint{10, 10}));
    EXPECT_TRUE(panel.contains({0, 0}));
    EXPECT_FALSE(panel.contains({1280, 10})) << "the far edges lie outside";
}

} // namespace
} // namespace tavrin
