#include <gmock/gmock.h>

#include <string_view>

#include "language/Golden.hpp"

/// As every test executable, and with `--renew-golden` it writes the golden files anew instead of comparing them.
int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    for (int index = 1; index < argc; ++index) {
        if (std::string_view(argv[index]) == "--renew-golden") varnolex::renewGolden = true;
    }
    return RUN_ALL_TESTS();
}
