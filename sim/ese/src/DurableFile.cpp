#include "cosim/DurableFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace cosim::durable {

namespace fs = std::filesystem;

namespace {

// The kernel's own limit on links followed in one lookup.
constexpr int kMaxLinks = 40;
constexpr size_t kMaxPidDigits = 10;

[[noreturn]] void fail(const std::string& what, int error = errno) {
    throw std::system_error(error, std::generic_category(), what);
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    // close() can report a write that failed late (NFS, quotas).
    void close(const std::string& what) {
        const int fd = m_fd;
        m_fd = -1;
        if (::close(fd) != 0) {
            fail(what);
        }
    }

  private:
    int m_fd;
};

// Unlinks a file this call created unless it is kept (a temporary file
// renamed into place, a journal written to).
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string path) : m_path(std::move(path)) {}
    ~TemporaryFile() {
        if (!m_path.empty()) {
            ::unlink(m_path.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void keep() { m_path.clear(); }

  private:
    std::string m_path;
};

void writeAll(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t written = ::write(fd, content.data() + done, content.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            fail("cannot write");
        }
        done += static_cast<size_t>(written);
    }
}

void keepOwnerAndMode(int fd, const struct stat& old) {
    // Giving a file away is for root only; anyone else's file becomes theirs.
    if (::fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM) {
        fail("cannot keep the owner");
    }
    if (::fchmod(fd, old.st_mode & 07777) != 0) {
        fail("cannot keep the mode");
    }
}

void syncDirectory(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    const std::string directory = parent.empty() ? "." : parent.string();
    Descriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot sync a directory; the rename stands anyway.
    if (fd.get() < 0 || (::fsync(fd.get()) != 0 && errno != EINVAL)) {
        fail("cannot sync the directory " + directory);
    }
}

bool isRunning(pid_t pid) {
    return ::kill(pid, 0) == 0 || errno == EPERM;
}

// The pid in "<name>.tmp.<pid>", or 0 when `file` is not such a name.
pid_t temporaryPid(const std::string& file, const std::string& prefix) {
    if (file.size() <= prefix.size() || file.compare(0, prefix.size(), prefix) != 0) {
        return 0;
    }
    const std::string digits = file.substr(prefix.size());
    if (digits.size() > kMaxPidDigits ||
        !std::all_of(digits.begin(), digits.end(),
                     [](unsigned char c) { return std::isdigit(c) != 0; })) {
        return 0;
    }
    const long long pid = std::stoll(digits);
    return pid > 0 && pid <= 0x7FFFFFFF ? static_cast<pid_t>(pid) : 0;
}

}  // namespace

std::string followLinks(const std::string& path) {
    fs::path current = path;
    for (int i = 0; i < kMaxLinks; ++i) {
        std::error_code error;
        if (!fs::is_symlink(fs::symlink_status(current, error))) {
            return current.string();
        }
        const fs::path target = fs::read_symlink(current, error);
        if (error) {
            fail("cannot read the symbolic link " + current.string(), error.value());
        }
        current = target.is_absolute() ? target : current.parent_path() / target;
    }
    fail("cannot follow " + path, ELOOP);
}

std::string nonRegularKind(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) {
        return "";
    }
    switch (info.st_mode & S_IFMT) {
        case S_IFDIR:
            return "a directory";
        case S_IFCHR:
            return "a character device";
        case S_IFBLK:
            return "a block device";
        case S_IFIFO:
            return "a FIFO";
        case S_IFSOCK:
            return "a socket";
        default:
            return "not a regular file";
    }
}

std::string temporaryName(const std::string& path, pid_t pid) {
    return path + ".tmp." + std::to_string(pid);
}

void replace(const std::string& path, const std::string& content) {
    struct stat old {};
    const bool exists = ::stat(path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) {
        fail("cannot examine");
    }
    const std::string temporary = temporaryName(path, ::getpid());
    ::unlink(temporary.c_str());  // left by a dead process that had our pid
    Descriptor fd(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (fd.get() < 0) {
        fail("cannot create " + temporary);
    }
    TemporaryFile cleanup(temporary);
    if (exists) {
        keepOwnerAndMode(fd.get(), old);
    }
    writeAll(fd.get(), content);
    if (::fsync(fd.get()) != 0) {
        fail("cannot write");
    }
    fd.close("cannot write");
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        fail("cannot replace it");
    }
    cleanup.keep();
    syncDirectory(path);
}

void appendLine(const std::string& path, const std::string& line) {
    constexpr int kFlags = O_RDWR | O_APPEND | O_NOFOLLOW | O_CLOEXEC;
    int opened = ::open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666);
    const bool created = opened >= 0;
    if (!created && errno == EEXIST) {
        opened = ::open(path.c_str(), kFlags);
    }
    Descriptor fd(opened);
    if (fd.get() < 0) {
        fail("cannot open");
    }
    // A file that got nothing is not left behind.
    TemporaryFile cleanup(created ? path : "");
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        fail("cannot examine");
    }
    if (!S_ISREG(info.st_mode)) {
        fail("cannot append", EINVAL);
    }
    char last = '\n';
    if (info.st_size > 0 && ::pread(fd.get(), &last, 1, info.st_size - 1) != 1) {
        fail("cannot read");
    }
    writeAll(fd.get(), last == '\n' ? line : "\n" + line);
    if (::fsync(fd.get()) != 0) {
        fail("cannot write");
    }
    fd.close("cannot write");
    cleanup.keep();
    if (created) {
        syncDirectory(path);
    }
}

size_t removeStaleTemporaries(const std::string& path) {
    const fs::path file(path);
    const fs::path directory = file.has_parent_path() ? file.parent_path() : fs::path(".");
    const std::string prefix = file.filename().string() + ".tmp.";
    size_t removed = 0;
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end;
         it.increment(error)) {
        const pid_t pid = temporaryPid(it->path().filename().string(), prefix);
        std::error_code kindError;
        if (pid == 0 || !fs::is_regular_file(it->symlink_status(kindError)) || isRunning(pid)) {
            continue;
        }
        if (::unlink(it->path().c_str()) == 0) {
            ++removed;
        }
    }
    return removed;
}

}  // namespace cosim::durable
