#include "commands/ExtcapLink.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

namespace fs = std::filesystem;

/// A variable of the environment, as it was before once this is gone.
class Variable {
 public:
  Variable(const char* name, const char* value) : Name(name) {
    if (const char* const before = std::getenv(name)) Before = before;
    Set(value);
  }
  ~Variable() { Set(Before ? Before->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void Set(const char* value) {
    if (value != nullptr)
      setenv(Name, value, 1);
    else
      unsetenv(Name);
  }

  const char* const Name;
  std::optional<std::string> Before;
};

class ExtcapLinkTest : public testing::Test {
 protected:
  test::TemporaryDirectory Directory;
  const fs::path Folder = fs::current_path() / "some" / "extcap";
  const fs::path Link = Folder / "qor-trace-extcap";
};

TEST_F(ExtcapLinkTest, ProgramThatIsCalledByTheLinkKnowsItsVerb) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(WithVerb("/home/me/.local/lib/wireshark/extcap/qor-trace-extcap", {"--extcap-interfaces"}),
            (Words{"extcap", "--extcap-interfaces"}));
  EXPECT_EQ(WithVerb("qor-trace-extcap", {}), Words{"extcap"});
  EXPECT_EQ(WithVerb("/usr/bin/qor-trace", {"record", "can"}), (Words{"record", "can"}));
}

TEST_F(ExtcapLinkTest, FoldersAreThoseOfNewAndOldVersions) {
  const Variable home("HOME", "/home/me");
  {
    const Variable config("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(ExtcapFolders(),
              (std::vector<fs::path>{"/home/me/.local/lib/wireshark/extcap", "/home/me/.config/wireshark/extcap"}));
  }
  const Variable config("XDG_CONFIG_HOME", "/elsewhere");
  EXPECT_EQ(ExtcapFolders().back(), "/elsewhere/wireshark/extcap");
}

TEST_F(ExtcapLinkTest, WithoutAHomeItIsThatOfTheUser) {
  const Variable home("HOME", nullptr);
  const Variable config("XDG_CONFIG_HOME", nullptr);
  EXPECT_TRUE(ExtcapFolders().front().is_absolute());
}

TEST_F(ExtcapLinkTest, FoldersAndLinkAreMade) {
  EXPECT_EQ(InstallLinks("/usr/bin/qor-trace", {}, {Folder}),
            "installed: " + Link.string() + " -> /usr/bin/qor-trace\n");
  EXPECT_EQ(fs::read_symlink(Link), "/usr/bin/qor-trace");
}

TEST_F(ExtcapLinkTest, LinkToAnotherInstallationIsReplaced) {
  (void)InstallLinks("/old/qor-trace", {}, {Folder});
  EXPECT_EQ(InstallLinks("/usr/bin/qor-trace", {}, {Folder}),
            "replaced: " + Link.string() + " -> /usr/bin/qor-trace\n");
  EXPECT_EQ(fs::read_symlink(Link), "/usr/bin/qor-trace");
}

// A link can't hold options.
TEST_F(ExtcapLinkTest, ProgramWithOptionsIsCalledByAScript) {
  const std::vector<std::string> options = {"--hardware", "/opt/it's/libqor_api.so.2", "--adapter", "/opt/a b.so"};
  EXPECT_EQ(InstallLinks("/usr/bin/qor-trace", options, {Folder}),
            "installed: " + Link.string() + " -> /usr/bin/qor-trace\n");
  EXPECT_EQ(test::FileText(Link.string()),
            "#!/bin/sh\n"
            "# Made by qor-trace extcap --install.\n"
            "exec '/usr/bin/qor-trace' '--hardware' '/opt/it'\\''s/libqor_api.so.2' '--adapter' '/opt/a b.so' extcap "
            "\"$@\"\n");
  EXPECT_EQ(access(Link.c_str(), X_OK), 0);
}

TEST_F(ExtcapLinkTest, ScriptAndLinkReplaceEachOtherAndAreRemoved) {
  (void)InstallLinks("/usr/bin/qor-trace", {}, {Folder});
  (void)InstallLinks("/usr/bin/qor-trace", {"--hardware", "/x"}, {Folder});
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Link)));
  (void)InstallLinks("/usr/bin/qor-trace", {}, {Folder});
  EXPECT_TRUE(fs::is_symlink(Link));
  (void)InstallLinks("/usr/bin/qor-trace", {"--hardware", "/x"}, {Folder});
  EXPECT_EQ(RemoveLinks({Folder}), "removed: " + Link.string() + "\n");
  EXPECT_FALSE(fs::exists(fs::symlink_status(Link)));
}

TEST_F(ExtcapLinkTest, WhatSomebodyElseHasPutThereStays) {
  fs::create_directories(Folder);
  test::WriteFile(Link.string(), {'x'});
  EXPECT_THROW((void)InstallLinks("/usr/bin/qor-trace", {}, {Folder}), Failure);
  EXPECT_EQ(RemoveLinks({Folder}), "left as it is, being of another's making: " + Link.string() + "\n");
  EXPECT_EQ(test::FileText(Link.string()), "x");
  fs::remove(Link);
  fs::create_symlink("/usr/bin/another-program", Link);
  EXPECT_THROW((void)InstallLinks("/usr/bin/qor-trace", {}, {Folder}), Failure);
  EXPECT_EQ(fs::read_symlink(Link), "/usr/bin/another-program");
}

TEST_F(ExtcapLinkTest, FolderThatCannotBeMadeIsAFailure) {
  test::WriteFile("some", {'x'});
  try {
    (void)InstallLinks("/usr/bin/qor-trace", {}, {Folder});
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.what(), "Cannot make the folder \"" + Folder.string() + "\": Not a directory");
  }
}

TEST_F(ExtcapLinkTest, LinkIsRemovedAlsoWhenItsProgramHasGone) {
  (void)InstallLinks("/no/longer/there/qor-trace", {}, {Folder});
  EXPECT_EQ(RemoveLinks({Folder}), "removed: " + Link.string() + "\n");
  EXPECT_FALSE(fs::exists(fs::symlink_status(Link)));
  EXPECT_EQ(RemoveLinks({Folder}), "not there: " + Link.string() + "\n");
}

}  // namespace
}  // namespace client
