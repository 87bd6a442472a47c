#include "UpdateFile.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "Errors.h"

namespace cosupdate::cli {

namespace {

constexpr char kStandardInput[] = "-";

[[noreturn]] void fail(const std::string& path, const std::string& why) {
    const std::string name = path == kStandardInput ? "standard input" : path;
    throw ToolError("update file " + name + ": " + why);
}

[[noreturn]] void failWithErrno(const std::string& path) {
    fail(path, std::strerror(errno));
}

std::string readAll(int fd, const std::string& path) {
    std::string bytes;
    std::array<char, 65536> chunk;
    for (;;) {
        const ssize_t got = ::read(fd, chunk.data(), chunk.size());
        if (got == 0) {
            return bytes;
        }
        if (got < 0 && errno != EINTR) {
            failWithErrno(path);
        }
        if (got > 0) {
            bytes.append(chunk.data(), static_cast<size_t>(got));
        }
    }
}

// The file open as `fd` opened again from its start, as the library needs it.
std::ifstream reopen(int fd, const std::string& path) {
    std::ifstream stream("/proc/self/fd/" + std::to_string(fd), std::ios::binary);
    if (!stream) {
        fail(path, "cannot be opened again for the library");
    }
    return stream;
}

// A pipe cannot be read twice: the library gets the bytes from a memory file.
std::ifstream streamOverCopy(const std::string& bytes, const std::string& path) {
    android::base::unique_fd memory(memfd_create("cosupdate-update-file", MFD_CLOEXEC));
    if (memory.get() < 0) {
        failWithErrno(path);
    }
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t written = ::write(memory.get(), bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR) {
            failWithErrno(path);
        }
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return reopen(memory.get(), path);
}

}  // namespace

UpdateFile UpdateFile::open(const std::string& path) {
    android::base::unique_fd owned;
    int fd = STDIN_FILENO;
    if (path != kStandardInput) {
        owned.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (owned.get() < 0) {
            failWithErrno(path);
        }
        fd = owned.get();
    }
    struct stat info {};
    if (fstat(fd, &info) != 0) {
        failWithErrno(path);
    }
    if (S_ISDIR(info.st_mode)) {
        fail(path, "is a directory");
    }
    std::string bytes = readAll(fd, path);
    // Standard input may have been read from its middle: the copy is what was read.
    const bool reopenable = S_ISREG(info.st_mode) && path != kStandardInput;
    std::ifstream stream = reopenable ? reopen(fd, path) : streamOverCopy(bytes, path);
    return UpdateFile(path, std::move(bytes), std::move(stream));
}

}  // namespace cosupdate::cli
