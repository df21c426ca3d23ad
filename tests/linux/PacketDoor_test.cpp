#include "linux/PacketDoor.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using qor_linux::PacketRightsAdvice;

/// A helper in a folder of its own.
class PacketDoorTest : public testing::Test {
 protected:
  PacketDoorTest() {
    std::string name = std::filesystem::temp_directory_path() / "qor-door-XXXXXX";
    Folder = mkdtemp(name.data());
  }
  ~PacketDoorTest() override { std::filesystem::remove_all(Folder); }

  std::string Helper(const std::string& name, mode_t mode = 0755) {
    const std::filesystem::path path = Folder / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "#!/bin/true\n";
    chmod(path.c_str(), mode);
    return path;
  }

  std::filesystem::path Folder;
};

TEST_F(PacketDoorTest, CommandThatGivesTheRightIsNamed) {
  const std::string helper = Helper("qor-trace-capture");
  EXPECT_EQ(PacketRightsAdvice(helper),
            "capturing takes a right; give it with \"sudo setcap cap_net_raw+ep " + helper + "\"");
}

TEST_F(PacketDoorTest, CommandIsOneThatAShellTakesAsItIsMeant) {
  const std::string helper = Helper("it's $HOME/qor-trace-capture");
  EXPECT_EQ(PacketRightsAdvice(helper), "capturing takes a right; give it with \"sudo setcap cap_net_raw+ep '" +
                                            Folder.string() + "/it'\\''s $HOME/qor-trace-capture'\"");
}

TEST_F(PacketDoorTest, NoCommandIsNamedForAHelperThatIsNotThere) {
  EXPECT_EQ(PacketRightsAdvice(Folder / "none"), "capturing takes a right that root has, and there is no " +
                                                     (Folder / "none").string() + " that could be given it");
}

TEST_F(PacketDoorTest, NoCommandIsNamedForAHelperThatThisUserMayNotRun) {
  const std::string helper = Helper("qor-trace-capture", 0644);  // which not even root may run
  EXPECT_EQ(PacketRightsAdvice(helper),
            "capturing takes a right; it comes with " + helper + ", which this user may not run");
}

}  // namespace
