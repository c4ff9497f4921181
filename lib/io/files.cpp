#include "files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

[[noreturn]] void fail_io(const char* what, const std::string& path, int error) {
    fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot ", what, " '", path, "': ", std::strerror(error));
}

struct FileDescriptor {
    int fd;
    ~FileDescriptor() {
        if (fd >= 0) ::close(fd);
    }
};

// Removed again unless it was renamed into place.
struct TemporaryFile {
    std::string name;
    int fd = -1;
    bool renamed = false;
    ~TemporaryFile() {
        if (fd >= 0) ::close(fd);
        if (!renamed && !name.empty()) ::unlink(name.c_str());
    }
};

}  // namespace

Encoded read_file(const std::string& path) {
    FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0) fail_io("open", path, errno);
    struct stat info {};
    if (::fstat(file.fd, &info) != 0) fail_io("read", path, errno);
    if (!S_ISREG(info.st_mode)) fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot read '", path, "': not a regular file");
    const auto size = static_cast<std::size_t>(info.st_size);
    Buffer bytes = allocate_buffer(size == 0 ? 1 : size, Fill::none);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(file.fd, bytes.get() + done, size - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail_io("read", path, errno);
        if (got == 0) break;  // the file shrank meanwhile: take what is there
        done += static_cast<std::size_t>(got);
    }
    return Encoded{bytes, done};
}

void write_file_atomically(const std::string& path, const std::uint8_t* data, std::size_t size) {
    TemporaryFile temporary{path + ".tmp-XXXXXX"};
    temporary.fd = ::mkstemp(temporary.name.data());
    if (temporary.fd < 0) fail_io("write", path, errno);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t put = ::write(temporary.fd, data + done, size - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) fail_io("write", path, errno);
        done += static_cast<std::size_t>(put);
    }
    // mkstemp makes the file private; give it the permissions a normal new file gets.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(temporary.fd, 0666 & ~mask);
    const int closed = ::close(temporary.fd);
    temporary.fd = -1;
    if (closed != 0) fail_io("write", path, errno);
    if (::rename(temporary.name.c_str(), path.c_str()) != 0) fail_io("write", path, errno);
    temporary.renamed = true;
}

}  // namespace plox::ipl::lib
