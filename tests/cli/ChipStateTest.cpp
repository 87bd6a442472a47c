// The simulated chip's state file as cosupdate keeps it, the tool run as a
// process: one cosupdate per chip at a time; links followed and modes kept;
// nothing that is not a regular chip state file overwritten; what crashed
// saves left behind cleaned up; and a state that cannot be written ending
// the update with the OS's reason, after which the chip is as it was.

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

const std::string kUpdate = exampleUpdate();
constexpr auto npos = std::string::npos;

cosim::ChipState factory() {
    return cosim::ChipState::factoryDefault();
}

// What examples/update.xml makes of a factory chip.
cosim::ChipState updated(const std::string& customer = "ACME") {
    cosim::ChipState state = factory();
    state.cosVersion = 0x0102;
    state.customerId = customer;
    state.services = {{0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01}};
    return state;
}

mode_t modeOf(const std::string& path, bool followLinks = true) {
    struct stat info {};
    (followLinks ? stat : lstat)(path.c_str(), &info);
    return info.st_mode;
}

// The chip held the way another cosupdate holds it.
class ForeignLock {
  public:
    explicit ForeignLock(const std::string& path)
        : m_fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        flock(m_fd, LOCK_EX);
        const std::string pid = std::to_string(getpid()) + "\n";
        EXPECT_EQ(pwrite(m_fd, pid.data(), pid.size(), 0), static_cast<ssize_t>(pid.size()));
    }
    ~ForeignLock() { close(m_fd); }
    ForeignLock(const ForeignLock&) = delete;
    ForeignLock& operator=(const ForeignLock&) = delete;

  private:
    int m_fd;
};

using ChipStateTest = ToolTest;

TEST_F(ChipStateTest, ALockedChipIsRefusedAtOnceNamingItsHolder) {
    writeChip(factory());
    const std::string alias = path("alias.state");
    ASSERT_EQ(symlink(m_chip.c_str(), alias.c_str()), 0);
    const ForeignLock lock(m_chip + ".lock");
    const std::string holder = " is in use by process " + std::to_string(getpid()) + "\n";

    for (const auto& args :
         std::vector<std::vector<std::string>>{{"update", kUpdate},
                                               {"check", kUpdate},
                                               {"info", "FE"},
                                               {"chip", "show"},
                                               {"chip", "set", "customer", "GLOBEX"},
                                               {"chip", "reset"}}) {
        SCOPED_TRACE(args.front());
        const ToolResult result = run(args);
        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_EQ(result.err, "cosupdate: chip state file " + m_chip + holder);
        EXPECT_EQ(result.out, "");
    }
    const ToolResult throughLink = run({"--chip", alias, "chip", "show"});
    EXPECT_EQ(throughLink.err, "cosupdate: chip state file " + alias + holder);
    EXPECT_EQ(run({"validate", kUpdate}).status, 0) << "validate touches no chip";
    EXPECT_EQ(chip(), factory());
}

// Taking the chip once it is free: TwoCommandsRacingOnOneChipBothTakeEffect.
TEST_F(ChipStateTest, WaitingForTheChipEndsOnASignal) {
    writeChip(factory());
    const ForeignLock lock(m_chip + ".lock");
    Process tool = start({"--wait", "chip", "set", "customer", "GLOBEX"});
    const std::string notice = "cosupdate: chip state file " + m_chip + " is in use by process " +
                               std::to_string(getpid()) + "; waiting for it";
    ASSERT_TRUE(tool.readUntil([&](const std::string& line) { return line == notice; }));
    EXPECT_TRUE(tool.runsAfter(200)) << "gave up waiting";
    tool.signal(SIGTERM);
    const ToolResult result = tool.finish();

    EXPECT_EQ(result.status, 6) << result.describe();
    EXPECT_NE(result.err.find("\ncosupdate: interrupted: run the same command again to resume\n"),
              npos)
        << result.err;
    EXPECT_EQ(chip(), factory());
}

TEST_F(ChipStateTest, TwoCommandsRacingOnOneChipBothTakeEffect) {
    // In either order the update and the new customer give the same chip.
    for (int round = 0; round < 5; ++round) {
        writeChip(factory());
        Process update = start({"--wait", "update", kUpdate});
        Process set = start({"--wait", "chip", "set", "customer", "GLOBEX"});
        const ToolResult updateResult = update.finish();
        const ToolResult setResult = set.finish();
        ASSERT_EQ(updateResult.status, 0) << updateResult.describe();
        ASSERT_EQ(setResult.status, 0) << setResult.describe();
        ASSERT_EQ(chip(), updated("GLOBEX")) << "round " << round;
    }
}

bool makeSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return bound;
}

TEST_F(ChipStateTest, WhatIsNotARegularFileIsRefusedAndLeftAsItIs) {
    const std::vector<std::pair<std::string, std::function<bool(const std::string&)>>> nodes{
        {"a directory", [](const std::string& p) { return mkdir(p.c_str(), 0755) == 0; }},
        {"a FIFO", [](const std::string& p) { return mkfifo(p.c_str(), 0644) == 0; }},
        {"a socket", makeSocket},
        {"a character device",  // /dev/null's numbers; needs CAP_MKNOD
         [](const std::string& p) { return mknod(p.c_str(), S_IFCHR | 0644, makedev(1, 3)) == 0; }},
    };
    for (const auto& [kind, make] : nodes) {
        SCOPED_TRACE(kind);
        const std::string node = path("node");
        if (!make(node)) {
            std::cout << "not tried, " << kind << ": " << std::strerror(errno) << '\n';
            continue;
        }
        const mode_t mode = modeOf(node);
        const std::set<std::string> before = listing();
        for (const auto& args :
             std::vector<std::vector<std::string>>{{"chip", "set", "customer", "X"},
                                                   {"update", kUpdate},
                                                   {"--force", "chip", "reset"}}) {
            std::vector<std::string> line{"--chip", node};
            line.insert(line.end(), args.begin(), args.end());
            const ToolResult result = run(line);

            EXPECT_EQ(result.status, 1) << result.describe();
            EXPECT_EQ(result.err, "cosupdate: chip state file " + node + " is " + kind +
                                      ", not a regular file\n");
        }
        EXPECT_EQ(modeOf(node), mode);
        EXPECT_EQ(listing(), before) << "a lock or temporary file beside it";
        std::filesystem::remove(node);
    }
}

TEST_F(ChipStateTest, LinksAreFollowedAndTheModeIsKept) {
    struct Case {
        const char* what;
        std::string linkTo;  // the state file's target, "" for none
        mode_t mode;         // of the existing target; 0: no target yet
    };
    umask(022);
    const mode_t fresh = 0644;  // 0666 minus the umask
    for (const Case& c :
         {Case{"absolute link", path("real/chip.state"), 0640},
          Case{"relative link", "real/chip.state", 0600},
          Case{"link to a missing file", "new/chip.state", 0}, Case{"read-only file", "", 0444}}) {
        SCOPED_TRACE(c.what);
        for (const char* name : {"chip.state", "real", "new"}) {
            std::filesystem::remove_all(path(name));
        }
        const std::string target = c.linkTo.empty() ? m_chip : path(c.linkTo);
        if (!c.linkTo.empty()) {
            ASSERT_EQ(symlink(c.linkTo.c_str(), m_chip.c_str()), 0);
        }
        if (c.mode != 0) {
            std::filesystem::create_directories(std::filesystem::path(target).parent_path());
            writeChip(factory(), target);
            chmod(target.c_str(), c.mode);
        }

        const ToolResult result = run({"chip", "set", "customer", "GLOBEX"});

        EXPECT_EQ(result.status, 0) << result.describe();
        EXPECT_EQ(chip(target).customerId, "GLOBEX");
        EXPECT_EQ(modeOf(target) & 07777, c.mode != 0 ? c.mode : fresh);
        EXPECT_EQ(S_ISLNK(modeOf(m_chip, false)), !c.linkTo.empty()) << "the link replaced";
    }
}

TEST_F(ChipStateTest, ChipResetOverwritesWhatIsNotAChipStateFileOnlyWithForce) {
    for (const auto& [content, force, status] : std::vector<std::tuple<std::string, bool, int>>{
             {"my notes\n", false, 1},
             {"", false, 1},
             {"my notes\n", true, 0},
             {cosim::formatState(updated()), false, 0}}) {
        SCOPED_TRACE(content + (force ? " --force" : ""));
        std::ofstream(m_chip, std::ios::trunc) << content;
        std::vector<std::string> args{"chip", "reset"};
        if (force) {
            args.push_back("--force");
        }
        const ToolResult result = run(args);

        EXPECT_EQ(result.status, status) << result.describe();
        if (status == 0) {
            EXPECT_EQ(chip(), factory());
        } else {
            EXPECT_NE(result.err.find("chip reset overwrites it only with --force"), npos);
            EXPECT_EQ(chipText(), content);
        }
    }
}

TEST_F(ChipStateTest, TemporaryFilesOfDeadProcessesAreRemoved) {
    const pid_t dead = fork();
    if (dead == 0) {
        _exit(0);
    }
    waitpid(dead, nullptr, 0);
    writeChip(factory());
    const std::string alive = "chip.state.tmp." + std::to_string(getpid());
    const std::string deadOne = "chip.state.tmp." + std::to_string(dead);
    const std::string otherFile = "other.state.tmp." + std::to_string(dead);
    for (const std::string& name : {alive, deadOne, otherFile, std::string("chip.state.tmp.12x")}) {
        std::ofstream(path(name)) << "half a state";
    }

    EXPECT_EQ(run({"chip", "show"}).status, 0);

    EXPECT_EQ(listing(), (std::set<std::string>{"chip.state", "chip.state.lock", alive, otherFile,
                                                "chip.state.tmp.12x"}));
}

// A place where the chip state file cannot be written, and how to undo that.
struct Unwritable {
    std::string skipReason;  // set when this machine cannot make it
    ProcessSetup setup;
    std::function<void()> lift = [] {};
};

TEST_F(ChipStateTest, AStateThatCannotBeWrittenStopsTheUpdateWithTheOsReason) {
    struct Case {
        const char* what;
        const char* dir;
        const char* reason;
        std::function<Unwritable(const std::string& dir)> make;
    };
    const std::vector<Case> cases{
        {"no file may grow (RLIMIT_FSIZE)", "limited", "File too large",
         [](const std::string&) {
             Unwritable u;
             u.setup.noFileSpace = true;
             return u;
         }},
        {"read-only directory", "readonly", "Permission denied",
         [](const std::string& dir) {
             // Root writes anywhere: the tool runs as nobody then.
             Unwritable u;
             u.setup.asNobody = true;
             const std::string lock = dir + "/chip.state.lock";
             close(open(lock.c_str(), O_CREAT | O_WRONLY, 0666));
             chmod(lock.c_str(), 0666);
             chmod(dir.c_str(), 0555);
             u.lift = [dir] { chmod(dir.c_str(), 0755); };
             return u;
         }},
        {"full file system (tmpfs)", "full", "No space left on device",
         [](const std::string& dir) {
             Unwritable u;
             // A mount namespace of this test's own, gone with it.
             if (unshare(CLONE_NEWNS) != 0 ||
                 mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                 mount("cosupdate-test", dir.c_str(), "tmpfs", 0, "size=16k") != 0) {
                 u.skipReason = std::string("cannot mount a tmpfs: ") + std::strerror(errno);
                 return u;
             }
             cosim::saveStateFile(dir + "/chip.state", cosim::ChipState::factoryDefault());
             std::ofstream fill(dir + "/fill");
             const std::string block(1024, 'x');
             while (fill << block << std::flush) {
             }
             u.lift = [dir] { std::filesystem::remove(dir + "/fill"); };
             return u;
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string dir = path(c.dir);
        const std::string state = dir + "/chip.state";
        std::filesystem::create_directory(dir);
        writeChip(factory(), state);
        const Unwritable unwritable = c.make(dir);
        if (!unwritable.skipReason.empty()) {
            std::cout << "not tried, " << c.what << ": " << unwritable.skipReason << '\n';
            continue;
        }
        std::set<std::string> files = listing(dir);
        files.insert("chip.state.lock");

        const ToolResult stopped = run({"--chip", state, "update", kUpdate}, unwritable.setup);

        if (stopped.status == kNotStarted && stopped.err.rfind("exec failed", 0) == 0) {
            std::cout << "not tried, " << c.what << ": " << stopped.err;  // nobody cannot run it
            unwritable.lift();
            continue;
        }
        EXPECT_EQ(stopped.status, 1) << stopped.describe();
        EXPECT_NE(stopped.err.find("cosupdate: update stopped: chip state file " + state + ": "),
                  npos)
            << stopped.err;
        EXPECT_NE(stopped.err.find(c.reason), npos) << stopped.err;
        EXPECT_EQ((stopped.out + stopped.err).find("run it again"), npos);
        EXPECT_EQ(chip(state), factory());
        EXPECT_EQ(listing(dir), files) << "left a temporary file";

        unwritable.lift();

        const ToolResult resumed = run({"--chip", state, "update", kUpdate});
        EXPECT_EQ(resumed.status, 0) << resumed.describe();
        EXPECT_EQ(chip(state), updated());
        umount2(dir.c_str(), MNT_DETACH);
    }
}

TEST_F(ChipStateTest, GeneratorLeavesItsOutputAsItWasOnABadArgument) {
    const std::string fresh = path("fresh.xml");
    const std::string earlier = path("earlier.xml");
    writeFile("earlier.xml", "earlier");
    for (const std::string& output : {fresh, earlier}) {
        const ToolResult result =
            runProcess(commandLine(COSUPDATE_GEN, {"--block-size", "0", "-o", output}));
        EXPECT_EQ(result.status, 2) << result.describe();
    }
    EXPECT_EQ(listing(), std::set<std::string>{"earlier.xml"});
    EXPECT_EQ(readFile(earlier), "earlier");
}

}  // namespace
}  // namespace cosupdate::test
