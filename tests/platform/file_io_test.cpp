// Input files that are not what they claim (FIFOs, devices, folders, huge
// files) and output targets that must not be lost or replaced.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/file_reader.h"
#include "platform/file_writer.h"
#include "platform/plist.h"
#include "platform/text.h"
#include "support/temp_dir.h"
#include "support/param_names.h"

namespace tbt {
namespace {

namespace fs = std::filesystem;

class FileTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    fs::create_directory(path("folder"));
  }

 public:
  std::string path(const std::string& name) const { return temp_ / name; }
  static std::string contents(const std::string& file) {
    std::string text;
    EXPECT_EQ(readRegularFile(file, 1 << 20, text), "");
    return text;
  }

 protected:
  const test::TempDir temp_;
  const fs::path dir_ = temp_.path();
};

struct SpecialInput {
  const char* name;
  const char* file;  // in the test folder, or an absolute path
  const char* reason;
};

class SpecialInputs : public FileTest, public testing::WithParamInterface<SpecialInput> {};

// Each of these once blocked for ever (a FIFO), grew until memory ran out
// (/dev/zero) or reported no reason; now each is refused at once.
TEST_P(SpecialInputs, AreRefusedWithTheReason) {
  const SpecialInput& c = GetParam();
  const std::string file = c.file[0] == '/' ? c.file : path(c.file);
  std::string text = "untouched";
  EXPECT_EQ(readRegularFile(file, 1000, text), c.reason);
  EXPECT_EQ(text, "untouched");
  std::string error;
  EXPECT_FALSE(readPropertyListFile(file, &error));
  EXPECT_TRUE(error.starts_with(file + ": ")) << error;
}

INSTANTIATE_TEST_SUITE_P(, SpecialInputs,
                         testing::Values(SpecialInput{"Fifo", "fifo", "not a regular file"},
                                         SpecialInput{"Device", "/dev/zero", "not a regular file"},
                                         SpecialInput{"Folder", "folder", "Is a directory"},
                                         SpecialInput{"Missing", "missing", "No such file or directory"}),
                         test::byName);

// A file of exactly the limit is read whole; one byte more is refused.
TEST_F(FileTest, SizeLimit) {
  for (size_t size : {999u, 1000u, 1001u}) {
    std::ofstream(path("sized"), std::ios::trunc) << std::string(size, 's');
    std::string text;
    EXPECT_EQ(readRegularFile(path("sized"), 1000, text), size > 1000 ? "larger than 1000 bytes" : "") << size;
    EXPECT_EQ(text.size(), size > 1000 ? 0 : size);
  }
}

// Where an output goes: every case writes "new" to the target, then finds
// at the target a file of the given type (0: nothing) holding the given text.
struct OutputTarget {
  const char* name;
  std::function<std::string(FileTest&)> prepare;  // makes the target, returns its path
  const char* error;                              // "" or the reason the error gives
  mode_t type;                                    // S_IFREG, S_IFLNK, ... or 0 for none
  const char* contents = nullptr;                 // read through a link; null: not checked
  mode_t permissions = 0;                         // 0: not checked
  BeforeReplaceHook during = nullptr;             // what happens to the target while it is written
};

class OutputTargets : public FileTest, public testing::WithParamInterface<OutputTarget> {};

TEST_P(OutputTargets, AreWrittenSafely) {
  const OutputTarget& c = GetParam();
  const std::string target = c.prepare(*this);
  setBeforeReplaceHook(c.during);
  const std::string error = writeFileSafely(target, std::string_view("new"));
  setBeforeReplaceHook(nullptr);
  EXPECT_EQ(error, *c.error ? "cannot write " + target + ": " + c.error : "");
  struct stat st{};
  EXPECT_EQ(::lstat(target.c_str(), &st) == 0 ? st.st_mode & S_IFMT : 0, c.type);
  EXPECT_EQ(c.contents ? contents(target) : "", c.contents ? c.contents : "");
  EXPECT_EQ(c.permissions ? st.st_mode & 07777 : 0, c.permissions);
  // Nothing is left behind but what the case made.
  for (const auto& entry : fs::directory_iterator(dir_))
    EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
}

// A file named name in the test folder holding "old" (mode 0640: not 0600,
// the temporary file's own mode).
std::function<std::string(FileTest&)> existing(const char* name) {
  return [name](FileTest& t) {
    std::ofstream(t.path(name)) << "old";
    ::chmod(t.path(name).c_str(), 0640);
    return t.path(name);
  };
}
std::function<std::string(FileTest&)> fresh(std::string name) {
  return [name](FileTest& t) { return name[0] == '/' ? name : t.path(name); };
}
mode_t usualMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}
const char* const kChanged = "it changed while being written";

INSTANTIATE_TEST_SUITE_P(
    , OutputTargets,
    testing::Values(
        OutputTarget{"NewFileTakesTheUsualMode", fresh("out.bin"), "", S_IFREG, "new", usualMode()},
        OutputTarget{"FileKeepsItsMode", existing("kept"), "", S_IFREG, "new", 0640},
        // Whatever the path names by the time the writing is done is kept.
        OutputTarget{"ReplacedWhileWritten", existing("busy"), kChanged, S_IFREG, "other", 0, [](const std::string& f) {
                       fs::rename(f, f + ".moved");  // kept, so the new file cannot take its inode
                       std::ofstream(f) << "other";
                     }},
        OutputTarget{"CreatedWhileWritten", fresh("fresh"), kChanged, S_IFREG, "other", 0,
                     [](const std::string& f) { std::ofstream(f) << "other"; }},
        OutputTarget{"RemovedWhileWritten", existing("gone"), kChanged, 0, nullptr, 0,
                     [](const std::string& f) { fs::remove(f); }},
        OutputTarget{"SymbolicLinkIsNotReplaced",
                     [](FileTest& t) {
                       std::ofstream(t.path("real")) << "old";
                       fs::create_symlink(t.path("real"), t.path("link"));
                       return t.path("link");
                     },
                     "it is a symbolic link, which is not replaced", S_IFLNK, "old"},
        OutputTarget{"DeviceIsWrittenInPlace", fresh("/dev/null"), "", S_IFCHR},
        OutputTarget{"FullDevice", fresh("/dev/full"), "No space left on device", S_IFCHR},
        OutputTarget{"Folder", fresh("folder"), "Is a directory", S_IFDIR},
        OutputTarget{"MissingFolder", fresh("nowhere/out"), "No such file or directory", 0}),
    test::byName);

// "-" is standard output, written in place; a full disk there is an error.
TEST_F(FileTest, DashIsStandardOutput) {
  for (const auto& [file, error] : {std::pair<std::string, std::string>{path("stdout"), ""},
                                    {"/dev/full", "cannot write standard output: No space left on device"}}) {
    std::fflush(stdout);
    const int saved = ::dup(STDOUT_FILENO);
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    ::dup2(fd, STDOUT_FILENO);
    EXPECT_EQ(writeFileSafely("-", std::string_view("new")), error);
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
    ::close(fd);
  }
  EXPECT_EQ(contents(path("stdout")), "new");
  EXPECT_FALSE(fs::exists("-"));
}

}  // namespace
}  // namespace tbt
