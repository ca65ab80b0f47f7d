#include "posix/InstanceLock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "fakes/ScopedEnv.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

TEST(InstanceLock, OneHolderAtATimeWhoseIdTheOthersRead) {
    TempDir dir;
    const std::string path = dir / "not-yet/velko-helper.lock";
    {
        auto first = InstanceLock::acquire(path);
        ASSERT_TRUE(first) << first.error();
        auto second = InstanceLock::acquire(path);
        ASSERT_FALSE(second);
        EXPECT_EQ(second.cause(), EWOULDBLOCK);
        EXPECT_EQ(InstanceLock::holder(path), ::getpid());
    }
    EXPECT_TRUE(InstanceLock::acquire(path)) << "let go with its holder";
}

TEST(InstanceLock, InTheRuntimeFolderOnlyWhenItIsPrivateElseInTheStateFolder) {
    TempDir dir;
    const std::string runtime = dir / "runtime";
    ASSERT_EQ(::mkdir(runtime.c_str(), 0700), 0);
    ScopedEnv state("XDG_STATE_HOME", (dir / "state").c_str());
    const std::string fallback = dir / "state/velko-helper/instance.lock";
    {
        ScopedEnv set("XDG_RUNTIME_DIR", runtime.c_str());
        EXPECT_EQ(InstanceLock::defaultPath(), runtime + "/velko-helper.lock");
        ASSERT_EQ(::chmod(runtime.c_str(), 0755), 0);
        EXPECT_EQ(InstanceLock::defaultPath(), fallback) << "readable by others";
    }
    ScopedEnv unset("XDG_RUNTIME_DIR", nullptr);
    EXPECT_EQ(InstanceLock::defaultPath(), fallback);
}

}  // namespace
}  // namespace velko::test
