// Files that appear whole or not at all.
#pragma once

#include <string>

namespace examples {

// A new file in the directory of `path`, which disappears with this object unless it has taken the place of `path`. All
// failures are thrown as std::runtime_error with a message for the user; `kind` names there what is written.
class NewFile {
public:
    NewFile(const std::string &path, const char *kind);
    ~NewFile();
    NewFile(const NewFile &) = delete;

    // A descriptor of the file, for the stream that writes to it; the stream closes it.
    int descriptor();

    // For the time when all is written and the stream is closed.
    void takePlace();

    // Throws what errno says, for a stream that could not be opened, written or closed.
    [[noreturn]] void fail();

private:
    std::string path_, name_;
    const char *kind_;
    int file_;
    bool placed_ = false;
};

} // namespace examples
