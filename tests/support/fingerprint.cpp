// Prints "name hash" for every registered fingerprint, sorted by name.

#include "support/fingerprint.h"

#include <cinttypes>
#include <cstdio>
#include <map>

#include "support/core_probe.h"

namespace zypr::test {
namespace {

std::map<std::string, void (*)(Fingerprint &)> &registry() {
    static std::map<std::string, void (*)(Fingerprint &)> makers;
    return makers;
}

} // namespace

FingerprintRegistration::FingerprintRegistration(const char *name, void (*make)(Fingerprint &)) { registry()[name] = make; }

} // namespace zypr::test

int main() {
    for (const auto &[name, make] : zypr::test::registry()) {
        zypr::test::CoreProbe::reset();
        zypr::test::Fingerprint print;
        make(print);
        std::printf("%s %016" PRIx64 "\n", name.c_str(), print.hash());
    }
    return zypr::test::registry().empty() ? 1 : 0;
}
