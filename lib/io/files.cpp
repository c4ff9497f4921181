#include "files.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <random>

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
    int folder;
    std::string name;
    int fd = -1;
    bool renamed = false;
    ~TemporaryFile() {
        if (fd >= 0) ::close(fd);
        if (!renamed && !name.empty()) ::unlinkat(folder, name.c_str(), 0);
    }
};

constexpr int kMaxLinks = 40;  // the kernel's own limit on a chain of symbolic links

// Where a write to `path` lands: the path itself, or the end of its chain of symbolic links, so
// that writing through a link replaces the file it names and keeps the link.
std::string follow_links(const std::string& path) {
    std::string target = path;
    for (int hops = 0;; ++hops) {
        struct stat info {};
        if (::lstat(target.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return target;
        if (hops == kMaxLinks) fail_io("write", path, ELOOP);
        char link[PATH_MAX];
        const ssize_t length = ::readlink(target.c_str(), link, sizeof link);
        if (length < 0) fail_io("write", path, errno);
        if (static_cast<std::size_t>(length) == sizeof link) fail_io("write", path, ENAMETOOLONG);
        const std::string text(link, static_cast<std::size_t>(length));
        // A relative link names a place seen from the folder the link is in.
        const std::size_t slash = target.find_last_of('/');
        target = text[0] == '/' || slash == std::string::npos ? text : target.substr(0, slash + 1) + text;
    }
}

// Short, so that the temporary fits wherever a name of up to 255 bytes does.
std::string temporary_name() {
    static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    thread_local std::mt19937_64 random{std::random_device{}()};
    std::string name = ".plox";
    for (int i = 0; i < 8; ++i) name += kLetters[random() % (sizeof kLetters - 1)];
    return name;
}

void write_all(int fd, const std::uint8_t* data, std::size_t size, const std::string& path) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t put = ::write(fd, data + done, size - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) fail_io("write", path, errno);
        done += static_cast<std::size_t>(put);
    }
}

void close_written(int& fd, const std::string& path) {
    const int closed = ::close(fd);
    fd = -1;
    if (closed != 0) fail_io("write", path, errno);
}

// A folder the caller may not add files to can still hold a file the caller may write, as
// open() would: that file is written in place, without the safety of a rename.
void overwrite_in_place(int folder, const std::string& name, const std::string& path, const std::uint8_t* data,
                        std::size_t size) {
    FileDescriptor file{::openat(folder, name.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY)};
    if (file.fd < 0) fail_io("write", path, errno);
    write_all(file.fd, data, size, path);
    close_written(file.fd, path);
}

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
    const std::string target = follow_links(path);
    const std::size_t slash = target.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : target.substr(0, slash);
    const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
    if (name.empty()) fail_io("write", path, EISDIR);
    FileDescriptor directory{::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    if (directory.fd < 0) fail_io("write", path, errno);

    struct stat old {};
    const bool replacing = ::fstatat(directory.fd, name.c_str(), &old, 0) == 0;
    if (replacing) {
        if (S_ISDIR(old.st_mode)) fail_io("write", path, EISDIR);
        if (!S_ISREG(old.st_mode))
            fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot write '", path, "': not a regular file");
        // Refused exactly where opening it for writing would be: a rename could replace a
        // read-only file behind its owner's back.
        if (::faccessat(directory.fd, name.c_str(), W_OK, AT_EACCESS) != 0) fail_io("write", path, errno);
    }

    TemporaryFile temporary{directory.fd, {}};
    int error = EEXIST;
    for (int attempt = 0; attempt < 100 && error == EEXIST; ++attempt) {
        temporary.name = temporary_name();
        // Mode 0666 as open() gives a new file: the kernel takes off the umask or applies the
        // folder's default ACL.
        temporary.fd =
            ::openat(directory.fd, temporary.name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0666);
        error = temporary.fd < 0 ? errno : 0;
    }
    if (error != 0) {
        temporary.name.clear();  // not ours to remove
        if (!replacing || (error != EACCES && error != EPERM)) fail_io("write", path, error);
        return overwrite_in_place(directory.fd, name, path, data, size);
    }
    // The replaced file's permissions carry over; a filesystem without them keeps its own.
    if (replacing) ::fchmod(temporary.fd, old.st_mode & 0777);
    write_all(temporary.fd, data, size, path);
    close_written(temporary.fd, path);
    if (::renameat(directory.fd, temporary.name.c_str(), directory.fd, name.c_str()) != 0)
        fail_io("write", path, errno);
    temporary.renamed = true;
}

}  // namespace plox::ipl::lib
