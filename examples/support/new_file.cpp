#include "support/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace examples {

NewFile::NewFile(const std::string &path, const char *kind) : path_(path), name_(path + ".XXXXXX"), kind_(kind) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        fail();
    }
    file_ = mkostemp(name_.data(), O_CLOEXEC);
    if (file_ < 0) fail();
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(file_, 0666 & ~mask);
}

NewFile::~NewFile() {
    close(file_);
    if (!placed_) unlink(name_.c_str());
}

int NewFile::descriptor() {
    const int copy = dup(file_);
    if (copy < 0) fail();
    return copy;
}

void NewFile::takePlace() {
    if (fsync(file_) != 0 || std::rename(name_.c_str(), path_.c_str()) != 0) fail();
    placed_ = true;
}

void NewFile::fail() {
    const char *const reason = errno != 0 ? std::strerror(errno) : "the disk may be full";
    throw std::runtime_error(path_ + ": cannot write the " + kind_ + ": " + reason);
}

} // namespace examples
