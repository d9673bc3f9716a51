// SPDX-License-Identifier: Apache-2.0
// A disk that remembers, in order, all that was written to it, and when it was told to keep it.
//
//   recorded_disk DIRECTORY IMAGE LOG
//
// Mounts a file system with two files on DIRECTORY until it is unmounted. "disk" has the bytes of
// IMAGE and is for a loop device. Whatever is written to "acknowledged" goes into the record alone,
// so that acknowledgements of hosts have their place between the writes to the disk. LOG gets
// entries of a head (see Entry) and the bytes written.
#define FUSE_USE_VERSION 35
#include <fcntl.h>
#include <fuse.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

const std::string kDisk = "/disk";
const std::string kAcknowledged = "/acknowledged";

enum class Kind : std::uint32_t { kWrite = 1, kSync = 2, kAcknowledgement = 3 };

struct Entry {
    Kind kind;
    std::uint32_t length;
    std::uint64_t offset;
};

int Open(const char* path, int flags) {
    const int file = open(path, flags | O_CLOEXEC, 0666);
    if (file < 0) throw std::system_error(errno, std::generic_category(), path);
    return file;
}

/// The image and the log of the only disk. One thread serves all requests, so that the order of the
/// log is that in which they were answered.
struct Disk {
    int image;
    int log;

    int Record(Kind kind, const char* data, std::size_t length, off_t offset) const {
        const Entry entry{kind, static_cast<std::uint32_t>(length),
                          static_cast<std::uint64_t>(offset)};
        if (write(log, &entry, sizeof entry) != static_cast<ssize_t>(sizeof entry)) return -EIO;
        if (write(log, data, length) != static_cast<ssize_t>(length)) return -EIO;
        return 0;
    }
};

const Disk& TheDisk() {
    return *static_cast<Disk*>(fuse_get_context()->private_data);
}

int GetAttributes(const char* path, struct stat* attributes, fuse_file_info*) {
    std::memset(attributes, 0, sizeof *attributes);
    if (path == std::string("/")) {
        attributes->st_mode = S_IFDIR | 0755;
        attributes->st_nlink = 2;
        return 0;
    }
    if (path != kDisk && path != kAcknowledged) return -ENOENT;
    if (path == kDisk && fstat(TheDisk().image, attributes) != 0) return -errno;
    attributes->st_mode = S_IFREG | 0600;
    attributes->st_nlink = 1;
    return 0;
}

int ListDirectory(const char*, void* names, fuse_fill_dir_t fill, off_t, fuse_file_info*,
                  fuse_readdir_flags) {
    for (const std::string& path : {kDisk, kAcknowledged})
        fill(names, path.c_str() + 1, nullptr, 0, fuse_fill_dir_flags{});
    return 0;
}

/// Without the system's cache, since a write must be seen when it is made.
int OpenFile(const char* path, fuse_file_info* file) {
    if (path != kDisk && path != kAcknowledged) return -ENOENT;
    file->direct_io = 1;
    return 0;
}

int ReadFile(const char* path, char* data, std::size_t length, off_t offset, fuse_file_info*) {
    if (path != kDisk) return 0;
    const auto count = pread(TheDisk().image, data, length, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int WriteFile(const char* path, const char* data, std::size_t length, off_t offset,
              fuse_file_info*) {
    const Disk& disk = TheDisk();
    const bool toDisk = path == kDisk;
    if (toDisk && pwrite(disk.image, data, length, offset) != static_cast<ssize_t>(length))
        return -EIO;
    const int result =
        disk.Record(toDisk ? Kind::kWrite : Kind::kAcknowledgement, data, length, offset);
    return result < 0 ? result : static_cast<int>(length);
}

int SyncFile(const char* path, int, fuse_file_info*) {
    return path == kDisk ? TheDisk().Record(Kind::kSync, "", 0, 0) : 0;
}

void* Initialize(fuse_conn_info*, fuse_config* configuration) {
    configuration->direct_io = 1;
    return fuse_get_context()->private_data;
}

int Serve(const char* program, char* directory, Disk& disk) {
    fuse_operations operations{};
    operations.init = &Initialize;
    operations.getattr = &GetAttributes;
    operations.readdir = &ListDirectory;
    operations.open = &OpenFile;
    operations.read = &ReadFile;
    operations.write = &WriteFile;
    operations.fsync = &SyncFile;
    std::string name = program;
    std::string foreground = "-f";
    std::string oneThread = "-s";
    char* arguments[] = {name.data(), foreground.data(), oneThread.data(), directory, nullptr};
    return fuse_main(4, arguments, &operations, &disk);
}

}  // namespace

int main(int count, char** arguments) {
    try {
        if (count != 4) throw std::runtime_error("Usage: recorded_disk DIRECTORY IMAGE LOG");
        Disk disk{Open(arguments[2], O_RDWR), Open(arguments[3], O_WRONLY | O_CREAT | O_TRUNC)};
        return Serve(arguments[0], arguments[1], disk);
    } catch (const std::exception& error) {
        std::cerr << "recorded_disk: " << error.what() << '\n';
        return 1;
    }
}
