// Runs the tests under the locale of the environment, as a host may have set it.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    std::setlocale(LC_ALL, "");
    const char* point = std::getenv("LUMO_TEST_DECIMAL_POINT");
    if (point != nullptr && std::strcmp(point, std::localeconv()->decimal_point) != 0) {
        std::fprintf(stderr, "the test locale is not in force\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
