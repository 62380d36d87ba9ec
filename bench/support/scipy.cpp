#include "support/scipy.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace zypr::bench {

Scipy::Scipy(const std::string &script) {
    char pattern[] = "/tmp/zypr_bench_XXXXXX";
    int toScript[2], fromScript[2];
    if (mkdtemp(pattern) == nullptr || pipe2(toScript, O_CLOEXEC) != 0 || pipe2(fromScript, O_CLOEXEC) != 0) return;
    directory_ = pattern;
    process_ = fork();
    if (process_ == 0) {
        dup2(toScript[0], 0);
        dup2(fromScript[1], 1);
        setenv("OMP_NUM_THREADS", "1", 1);
        execl("/usr/bin/python3", "python3", script.c_str(), nullptr);
        _exit(1);
    }
    close(toScript[0]);
    close(fromScript[1]);
    requests_ = fdopen(toScript[1], "w");
    answers_ = fdopen(fromScript[0], "r");
    Answer ready;
    isThere_ = read(ready);
}

Scipy::~Scipy() {
    if (requests_ != nullptr) std::fclose(requests_);
    if (answers_ != nullptr) std::fclose(answers_);
    if (process_ > 0) waitpid(process_, nullptr, 0);
    std::error_code ignored;
    if (!directory_.empty()) std::filesystem::remove_all(directory_, ignored);
}

bool Scipy::read(Answer &answer) { return std::fscanf(answers_, "%lf %lf", &answer.seconds, &answer.mebibytes) == 2; }

std::string Scipy::save(const std::string &name, const void *data, size_t bytes) const {
    const std::string path = directory_ + "/" + name;
    std::ofstream(path, std::ios::binary).write(static_cast<const char *>(data), static_cast<std::streamsize>(bytes));
    return path;
}

Scipy::Answer Scipy::ask(const std::string &request) {
    std::fprintf(requests_, "%s\n", request.c_str());
    std::fflush(requests_);
    Answer answer;
    if (!read(answer)) {
        std::fprintf(stderr, "SciPy failed at: %s\n", request.c_str());
        std::exit(1);
    }
    return answer;
}

} // namespace zypr::bench
