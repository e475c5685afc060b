// Files on Linux and macOS: names are bytes, rename replaces, and the
// client's files are for their owner's eyes only.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "CFileAccess.h"

namespace {

std::string errnoText(int error) { return std::generic_category().message(error); }

// The settings hold the password and a kept report the pilot's credentials.
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

// Failures that may be gone a moment later: no room for the file now (a full
// disk, a quota, a size limit), a folder or file that refuses it now, a file
// in use.
bool mayPass(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
        case EACCES:
        case EPERM:
        case EROFS:
        case EBUSY:
        case ETXTBSY:
        case EAGAIN:
        case EINTR:
            return true;
        default:
            return false;
    }
}

bool writeAll(int fd, const std::string& data) {
    const char* next = data.data();
    std::size_t left = data.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, next, left);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        next += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

// Makes the rename itself survive a power cut; a folder that cannot be
// synced still holds the new file, so failure here is not reported.
void syncFolderOf(const std::string& fileName) {
    std::string folder = std::filesystem::u8path(fileName).parent_path().u8string();
    if (folder.empty()) {
        folder = ".";
    }
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

}  // namespace

std::FILE* CFileAccess::open(const std::string& fileName, const char* mode) {
    return std::fopen(fileName.c_str(), mode);
}

std::string CFileAccess::createEmpty(const std::string& fileName) {
    const int fd = ::open(fileName.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kOwnerOnly);
    if (fd < 0) {
        return errnoText(errno);
    }
    ::close(fd);
    return std::string();
}

std::string CFileAccess::replaceOnce(const std::string& fileName, const std::string& data,
                                     bool& mayPassLater) {
    const std::string tempName = fileName + ".tmp";
    // A link in the temporary file's place is not followed, and a file left
    // there by a crash is made the owner's alone before it takes a byte.
    const int fd =
        ::open(tempName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly);
    if (fd < 0) {
        const int error = errno;
        mayPassLater = mayPass(error);
        return "cannot create " + tempName + ": " + errnoText(error);
    }
    std::string failure;
    int error = 0;
    if (::fchmod(fd, kOwnerOnly) != 0) {
        error = errno;
        failure = "cannot make " + tempName + " its owner's alone: " + errnoText(error);
    } else if (!writeAll(fd, data)) {
        error = errno;
        failure = "cannot write " + tempName + ": " + errnoText(error);
    } else if (::fsync(fd) != 0) {
        error = errno;
        failure = "cannot flush " + tempName + ": " + errnoText(error);
    }
    if (::close(fd) != 0 && failure.empty()) {
        error = errno;
        failure = "cannot close " + tempName + ": " + errnoText(error);
    }
    if (failure.empty() && ::rename(tempName.c_str(), fileName.c_str()) != 0) {
        error = errno;
        failure = "cannot replace it: " + errnoText(error);
    }
    if (!failure.empty()) {
        ::unlink(tempName.c_str());
        mayPassLater = mayPass(error);
        return failure;
    }
    syncFolderOf(fileName);
    return std::string();
}

std::string CFileAccess::rename(const std::string& from, const std::string& to) {
    if (::rename(from.c_str(), to.c_str()) != 0) {
        return errnoText(errno);
    }
    return std::string();
}
