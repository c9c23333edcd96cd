// The file interface: whole-file reads through short reads and failures,
// refusal of everything but regular files without blocking, and atomic
// replacement that keeps the previous file through every fault, follows
// links and clears away the temporaries of writers that are gone.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/platform/faulty_files.h"
#include "tests/platform/scratch_dir.h"

#if !defined(_WIN32)
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

std::set<std::string> Entries(const ScratchDir& dir) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>('a' + i * 7 % 26);
    }
    return bytes;
}

[[maybe_unused]] korvan::FileStatus Replace(const std::string& path, const std::string& content) {
    korvan::AtomicFile file;
    korvan::FileStatus status = file.Open(CString(path.c_str()));
    if (status) {
        status = file.Write(content.data(), content.size());
    }
    return status ? file.Commit() : status;
}

}  // namespace

TEST(Files, WholeFilesAreReadThroughShortReadsAndFailures) {
    ScratchDir dir;
    const std::string content = Pattern(50000);
    WriteBytes(dir.Path("data"), content);
    WriteBytes(dir.Path("empty"), "");
    for (size_t limit : {size_t{1}, size_t{7}, size_t{4096}, SIZE_MAX}) {
        SCOPED_TRACE(limit);
        FaultyFiles faults;
        faults.readLimit = limit;
        korvan::ScopedFileSystem use(faults);
        std::string bytes = "stale";
        ASSERT_TRUE(korvan::ReadWholeFile(dir.File("data"), bytes));
        EXPECT_EQ(bytes, content);
        ASSERT_TRUE(korvan::ReadWholeFile(dir.File("empty"), bytes));
        EXPECT_EQ(bytes, "");
    }
    // fault, the reason reported
    const std::vector<std::pair<void (*)(FaultyFiles&), const char*>> cases = {
        {[](FaultyFiles& f) { f.failOpen = true; }, "injected: open"},
        {[](FaultyFiles& f) { f.failReadAfter = 0; }, "injected: read"},
        {[](FaultyFiles& f) { f.failReadAfter = 30000; }, "injected: read"},
        // More bytes than the file had when opened: it is being written.
        {[](FaultyFiles& f) { f.sizeError = -1; }, "the file grew while it was read"},
    };
    for (const auto& [arm, reason] : cases) {
        SCOPED_TRACE(reason);
        FaultyFiles faults;
        arm(faults);
        korvan::ScopedFileSystem use(faults);
        std::string bytes;
        const korvan::FileStatus status = korvan::ReadWholeFile(dir.File("data"), bytes);
        EXPECT_FALSE(status);
        EXPECT_EQ(status.Reason(), CString(reason));
        EXPECT_EQ(bytes, "");
    }
}

// A replacement abandoned before Commit changes nothing and leaves nothing
// behind. (Every fault of a replacement is tried through the database's Save.)
TEST(AtomicFile, AbandonedReplacementsLeaveNoTrace) {
    ScratchDir dir;
    WriteBytes(dir.Path("cat.xml"), "previous");
    {
        korvan::AtomicFile file;
        ASSERT_TRUE(file.Open(dir.File("cat.xml")));
        ASSERT_TRUE(file.Write("new", 3));
        EXPECT_EQ(Entries(dir).size(), 2u);
    }
    EXPECT_EQ(ReadBytes(dir.Path("cat.xml")), "previous");
    EXPECT_EQ(Entries(dir), std::set<std::string>{"cat.xml"});
    // Nothing to write into until a file is open.
    korvan::AtomicFile unopened;
    EXPECT_FALSE(unopened.Write("x", 1));
    EXPECT_FALSE(unopened.Commit());
}

#if !defined(_WIN32)

// A FIFO without a writer, a device that never ends, a socket: each is
// refused at once. The alarm turns a hang into a failed test.
TEST(Files, OnlyRegularFilesOpenAndNothingBlocks) {
    ScratchDir dir;
    WriteBytes(dir.Path("plain"), "abc");
    std::filesystem::create_directory(dir.Path("folder"));
    ASSERT_EQ(mkfifo(dir.Path("fifo").c_str(), 0666), 0);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string socketPath = dir.Path("socket");
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    socketPath.copy(address.sun_path, socketPath.size());
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::filesystem::create_symlink("plain", dir.Path("link"));
    std::filesystem::create_symlink("fifo", dir.Path("fifo-link"));

    const std::string missing = "No such file or directory";
    const std::string notRegular = "not a regular file";
    // path, why it cannot be read ("" when it can), why it cannot be written
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {dir.Path("plain"), "", ""},
        {dir.Path("link"), "", ""},
        {dir.Path("missing"), missing, missing},
        {dir.Path("folder"), "Is a directory", "Is a directory"},
        {dir.Path("fifo"), notRegular, notRegular},
        {dir.Path("fifo-link"), notRegular, notRegular},
        {socketPath, notRegular, notRegular},
        {"/dev/zero", notRegular, notRegular},
        {"/dev/null", notRegular, notRegular},
    };
    alarm(30);
    for (const auto& [path, unreadable, unwritable] : cases) {
        SCOPED_TRACE(path);
        const CString file(path.c_str());
        EXPECT_EQ(korvan::CheckReadable(file).Reason(), CString(unreadable.c_str()));
        EXPECT_EQ(korvan::Files().CheckWritable(file).Reason(), CString(unwritable.c_str()));
        std::string bytes;
        EXPECT_EQ(korvan::ReadWholeFile(file, bytes).Reason(), CString(unreadable.c_str()));
    }
    // Nor is any of them replaced.
    for (const char* name : {"folder", "fifo", "socket"}) {
        EXPECT_EQ(Replace(dir.Path(name), "x").Ok(), false) << name;
    }
    EXPECT_EQ(Replace(dir.Path("no/such/dir.xml"), "x").Reason(), CString(missing.c_str()));
    alarm(0);
    close(listener);
    EXPECT_TRUE(std::filesystem::is_fifo(dir.Path("fifo")));
    EXPECT_TRUE(std::filesystem::is_directory(dir.Path("folder")));
}

// Through a link the file it points at is replaced and the link stays; a
// link to nothing creates its target. The permissions of the replaced file
// are kept.
TEST(AtomicFile, LinksAreFollowedAndPermissionsKept) {
    ScratchDir dir;
    std::filesystem::create_directory(dir.Path("sub"));
    WriteBytes(dir.Path("real.xml"), "previous");
    chmod(dir.Path("real.xml").c_str(), 0640);
    std::filesystem::create_symlink("../real.xml", dir.Path("sub/link.xml"));
    std::filesystem::create_symlink("sub/link.xml", dir.Path("chain.xml"));
    std::filesystem::create_symlink("made.xml", dir.Path("dangling.xml"));

    ASSERT_TRUE(Replace(dir.Path("chain.xml"), "through two links"));
    EXPECT_EQ(ReadBytes(dir.Path("real.xml")), "through two links");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.Path("chain.xml")));
    EXPECT_TRUE(std::filesystem::is_symlink(dir.Path("sub/link.xml")));
    struct stat info;
    ASSERT_EQ(stat(dir.Path("real.xml").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);

    ASSERT_TRUE(Replace(dir.Path("dangling.xml"), "made"));
    EXPECT_EQ(ReadBytes(dir.Path("made.xml")), "made");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.Path("dangling.xml")));
    EXPECT_EQ(Entries(dir),
              (std::set<std::string>{"chain.xml", "dangling.xml", "made.xml", "real.xml", "sub"}));
    EXPECT_TRUE(korvan::Files().SameFile(dir.File("chain.xml"), dir.File("sub/../real.xml")));
    EXPECT_FALSE(korvan::Files().SameFile(dir.File("made.xml"), dir.File("real.xml")));
}

// A save killed mid-write leaves "FILE.tmpPID-N" behind. The next save of
// the same file removes those whose writer is gone and keeps those of
// writers that still run, and anything not of that form.
TEST(AtomicFile, TemporariesOfWritersThatAreGoneAreRemoved) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const std::string dead = std::to_string(child);
    const std::string live = std::to_string(getppid());
    const std::string self = std::to_string(getpid());

    ScratchDir dir;
    WriteBytes(dir.Path("cat.xml"), "previous");
    const std::vector<std::string> removed = {"cat.xml.tmp" + dead + "-0",
                                              "cat.xml.tmp" + dead + "-17"};
    const std::set<std::string> kept = {
        "cat.xml",
        "cat.xml.tmp" + live + "-0",
        "cat.xml.tmp" + self + "-5",
        "cat.xml.tmp" + dead,
        "cat.xml.tmp" + dead + "-0.bak",
        "cat.xml.tmpx-1",
        "other.xml.tmp" + dead + "-0",
    };
    for (const std::string& name : removed) {
        WriteBytes(dir.Path(name), "left over");
    }
    for (const std::string& name : kept) {
        if (name != "cat.xml") {
            WriteBytes(dir.Path(name), "left over");
        }
    }
    ASSERT_TRUE(Replace(dir.Path("cat.xml"), "new"));
    EXPECT_EQ(Entries(dir), kept);
    EXPECT_EQ(ReadBytes(dir.Path("cat.xml")), "new");
}

#endif
