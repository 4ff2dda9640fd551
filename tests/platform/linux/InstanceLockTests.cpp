#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/InstanceLock.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

// Sets an environment variable for the life of a test.
struct ScopedEnv {
    std::string name;
    std::optional<std::string> previous;
    ScopedEnv(std::string n, const char* value) : name(std::move(n)) {
        if (const char* old = std::getenv(name.c_str()))
            previous = old;
        value ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
    }
    ~ScopedEnv() { previous ? ::setenv(name.c_str(), previous->c_str(), 1) : ::unsetenv(name.c_str()); }
};

TEST(InstanceLockTest, OneHolderAtATimeAndTheOthersLearnWhoHoldsIt) {
    testing::TempDir dir;
    std::optional<InstanceLock::Holder> holder;
    std::string problem;
    auto first = InstanceLock::acquire(dir.path(), "app", holder, problem);
    ASSERT_TRUE(first) << problem;
    EXPECT_FALSE(holder);
    EXPECT_EQ(first->socketPath(), dir / "tavrin.sock");

    EXPECT_FALSE(InstanceLock::acquire(dir.path(), "watch", holder, problem));
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->role, "app");
    EXPECT_EQ(holder->pid, ::getpid());
    EXPECT_EQ(describeHolder(*holder), "the Tavrin application (process " + std::to_string(::getpid()) + ")");

    first.reset();
    auto second = InstanceLock::acquire(dir.path(), "watch", holder, problem);
    EXPECT_TRUE(second);
    EXPECT_FALSE(holder);
}

TEST(InstanceLockTest, AHolderKilledOutrightLeavesTheLockFree) {
    testing::TempDir dir;
    const pid_t child = ::fork();
    if (child == 0) {
        std::optional<InstanceLock::Holder> holder;
        std::string problem;
        auto lock = InstanceLock::acquire(dir.path(), "app", holder, problem);
        ::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    std::optional<InstanceLock::Holder> holder;
    std::string problem;
    EXPECT_TRUE(InstanceLock::acquire(dir.path(), "app", holder, problem)) << problem;
}

TEST(InstanceLockTest, WithoutARuntimeFolderAPrivateOneIsMadeAndAnOpenOneRefused) {
    testing::TempDir temp;
    ScopedEnv runtime("XDG_RUNTIME_DIR", nullptr);
    ScopedEnv tmp("TMPDIR", temp.path().c_str());
    std::string problem;
    const auto folder = InstanceLock::runtimeDirectory(problem);
    ASSERT_TRUE(folder) << problem;
    EXPECT_EQ(*folder, temp / ("tavrin-" + std::to_string(::getuid())));
    struct stat info {};
    ASSERT_EQ(::stat(folder->c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);

    ::chmod(folder->c_str(), 0755);
    EXPECT_FALSE(InstanceLock::runtimeDirectory(problem));
    EXPECT_NE(problem.find("not a private folder"), std::string::npos) << problem;

    ScopedEnv set("XDG_RUNTIME_DIR", "/run/user/4242");
    EXPECT_EQ(InstanceLock::runtimeDirectory(problem), std::filesystem::path("/run/user/4242"));
}

} // namespace
} // namespace tavrin
