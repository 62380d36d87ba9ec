// SciPy in a process that lives as long as this one and works when asked.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace zypr::bench {

class Scipy {
public:
    explicit Scipy(const std::string &script);
    ~Scipy();
    Scipy(const Scipy &) = delete;
    Scipy &operator=(const Scipy &) = delete;

    bool isThere() const { return isThere_; }
    const std::string &directory() const { return directory_; } // of this run alone

    // Keeps the bytes for the script; returns the file's path.
    std::string save(const std::string &name, const void *data, size_t bytes) const;

    struct Answer {
        double seconds, mebibytes;
    };
    Answer ask(const std::string &request); // one line

private:
    bool read(Answer &answer);

    std::string directory_;
    pid_t process_ = -1;
    std::FILE *requests_ = nullptr, *answers_ = nullptr;
    bool isThere_ = false;
};

} // namespace zypr::bench
