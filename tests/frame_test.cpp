// Time stamps, the log, last errors, versions, the script path.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>
#include <thread>
#include <tuple>

#include "frame/bytes.h"
#include "frame/call_frame.h"
#include "frame/history.h"
#include "frame/ini2.h"
#include "frame/time_stamp.h"
#include "support/support.h"

namespace lumo::test {
namespace {

TEST(TimeStamp, FormatsEnglishNamesAndMarksFieldsOutOfRange) {
    const std::tuple<std::tm, const char*> cases[] = {
        // second, minute, hour, day, month, year, day of the week
        {{3, 5, 9, 1, 11, 108, 1, 0, 0, 0, nullptr}, "Mon, 01 Dec 2008 09:05:03 GMT"},
        {{59, 59, 23, 31, 0, 124, 6, 0, 0, 0, nullptr}, "Sat, 31 Jan 2024 23:59:59 GMT"},
        {{3, 5, 9, 1, 12, 108, 0, 0, 0, 0, nullptr}, "Sun, 01 XXX 2008 09:05:03 GMT"},
        {{3, 5, 9, 1, -1, 108, -1, 0, 0, 0, nullptr}, "XXX, 01 XXX 2008 09:05:03 GMT"},
        {{0, 0, 0, 1, 0, 100, 7, 0, 0, 0, nullptr}, "XXX, 01 Jan 2000 00:00:00 GMT"},
        {{0, 0, 0, 1, 0, 10445, 0, 0, 0, 0, nullptr}, ""}};
    for (const auto& [time, expected] : cases) {
        char text[timeStampSize];
        FormatTimeStamp(text, &time);
        EXPECT_STREQ(text, expected);
    }
}

TEST(TimeStamp, ParsesWhatItFormatsAndRejectsTheRest) {
    std::tm time{};
    time.tm_wday = 5;
    ASSERT_EQ(ParseTimeStamp("Mon, 01 Dec 2008 09:05:03 GMT", &time), 0);
    EXPECT_EQ(time.tm_year * 10000 + time.tm_mon * 100 + time.tm_mday, 1081101);
    EXPECT_EQ(time.tm_hour * 10000 + time.tm_min * 100 + time.tm_sec, 90503);
    EXPECT_EQ(time.tm_wday, 5) << "the day of the week is not stored";
    ASSERT_EQ(ParseTimeStamp("Mon, 01 dec 2008 09:05:03 GMT", &time), 0);
    EXPECT_EQ(time.tm_mon, 0) << "an unknown month is January";

    for (const char* bad : {"", "Mon, 01 Dec 2008 09:05:03 GM", "Mon, 01 Dec 2008 09:05:03 GMT ",
                            "Mon, 01 Dec 2008 09:05.03 GMT", "-----------------------------"}) {
        time.tm_hour = 77;
        EXPECT_EQ(ParseTimeStamp(bad, &time), -1) << bad;
        EXPECT_EQ(time.tm_hour == 77, std::strlen(bad) != 29 || bad[0] == '-') << bad;
    }
    // A year at the edge of int must not overflow.
    EXPECT_EQ(ParseTimeStamp("abc, 1 J -2147483648 1:1:1 GM", &time), 0);
}

/// Zones in which the current time stamp is not that of the local time.
int wrongZones() {
    int wrong = 0;
    // Two of them have the same names and the same standard time, and differ in the season alone.
    for (const char* zone : {"WST3:30", "EST-5:45", "UTC0", "AAA-10BBB,0/0,J365/25",
                             "AAA-10BBB,J364/0,J365/0", "Australia/Sydney", "Australia/Brisbane"}) {
        setenv("TZ", zone, 1);
        tzset();
        std::time_t before = 0, now = std::time(nullptr);
        char text[timeStampSize], expected[timeStampSize];
        do {  // until both fall into the same second
            before = now;
            FormatTimeStamp(expected, std::localtime(&now));
            CurrentTimeStamp(text);
            now = std::time(nullptr);
        } while (now != before);
        wrong += std::strcmp(text, expected) != 0;
    }
    return wrong;
}

TEST(TimeStamp, CurrentOneIsLocalTimeInAForkedChildToo) {
    const char* const own = getenv("TZ");
    const std::string kept = own != nullptr ? own : "";
    EXPECT_EQ(wrongZones(), 0);
    const pid_t child = fork();
    if (child == 0) _exit(wrongZones() <= 1 ? 0 : 1);  // the season is its parent's for a while
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    own != nullptr ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
    tzset();
}

TEST(History, AppendsBehindTheLargestStep) {
    ini2 store;
    AddPerformedStep("first", &store);
    AddPerformedStep("second", &store);
    store.set("PerformedSteps", "Step7", "seventh", nullptr);
    AddPerformedStep("eighth", &store);
    AddPerformedStep(nullptr, &store);
    AddPerformedStep("nowhere", nullptr);
    const std::pair<const char*, const char*> expected[] = {
        {"Step0", "first"}, {"Step1", "second"}, {"Step7", "seventh"}, {"Step8", "eighth"}};
    char value[1024];
    for (const auto& [key, text] : expected) {
        store.get("PerformedSteps", key, value, "missing");
        EXPECT_STREQ(value, text) << key;
    }
    store.set("PerformedSteps", "Step12344", "far", nullptr);
    AddPerformedStep("cut", &store);
    store.get("PerformedSteps", "Step1234", value, "missing");
    EXPECT_STREQ(value, "cut") << "keys have 8 characters";
}

TEST(Log, LinesHaveTheirFormAndNoControlCharacters) {
    const LogLines log;
    slog(7, "a %s b", "line\nbreak\x7F\x01");
    slog(5, "%s", std::string(5000, 'x').c_str());
    slog(9, "never written");
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "7 a line\\x0Abreak\\x7F\\x01 b");
    EXPECT_EQ(lines[1], "5 " + std::string(5000, 'x'));

    std::ifstream file(std::string(lumoLogDirectory()) + "/orvellog.log");
    std::string first;
    std::getline(file, first);
    const std::string start =
        R"([0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}\.[0-9]{3} 5 lumo Start )"
        R"(2\.2\.1\.176 from 'R2\.2\.1')";
    EXPECT_TRUE(matches(first, start)) << first;
}

TEST(LastError, BelongsToItsThreadAndHasAMessage) {
    lmtSetLastError(-50);
    int other = 1;
    std::thread([&] {
        other = lmtGetLastError();
        lmtSetLastError(-8);
    }).join();
    EXPECT_EQ(other, 0);
    EXPECT_EQ(lmtGetLastError(), -50);
    std::set<std::string> seen{""};
    for (const int code : {0, 1, -1, -2, -8, -11, -14, -16, -20, -50, -102, -10004, -10006, -999})
        EXPECT_TRUE(seen.insert(lmtErrorMessage(code)).second) << code;
}

TEST(CallFrame, TurnsRaisedCodesAndExhaustedMemoryIntoResults) {
    const LogLines log;
    EXPECT_EQ(callFrame("Demo", [] { raise(-20); }), -20);
    EXPECT_EQ(lmtGetLastError(), -20);
    EXPECT_EQ(callFrame("Demo", [] { throw std::bad_alloc(); }), -8);
    EXPECT_EQ(lmtGetLastError(), -8);
    EXPECT_EQ(callFrame("Demo", [] {}), 0);
    EXPECT_EQ(lmtGetLastError(), -8) << "success does not reset it";
    const std::string failed = "3 Demo -20 ", exhausted = "3 Demo -8 ";
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "8 Demo entry", failed + lmtErrorMessage(-20), "7 Demo return -20",
                               "8 Demo entry", exhausted + lmtErrorMessage(-8), "7 Demo return -8",
                               "8 Demo entry", "7 Demo return 0"}));
}

TEST(Version, TextsNameLibraryAndLibpng) {
    const std::string number = R"(2\.2\.1\.176 from 'R2\.2\.1' )";
    char text[64];
    EXPECT_EQ(Get_Version(text), 0);
    EXPECT_TRUE(
        matches(text, number + "[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"))
        << text;
    EXPECT_EQ(Get_Version(nullptr), 0);
    const char* version = LumoGetVersion();
    EXPECT_EQ(version, LumoGetVersion());
    const std::string png = R"(libpng 1\.2\.14beta2 - using libpng 1\.[0-9]+\.[0-9]+.*)";
    EXPECT_TRUE(matches(version, number + "compiled with " + png)) << version;
}

TEST(Bytes, ReaderStopsAtAFieldThatIsNotWhole) {
    const std::uint8_t bytes[] = {1, 2, 3, 4, 5, 0x80, 0x3F, 9};
    ByteReader reader(bytes);
    std::uint16_t number = 0;
    std::uint8_t byte = 7;
    float single = 0;
    EXPECT_TRUE(reader.take(number));
    EXPECT_EQ(number, 0x0201);
    EXPECT_TRUE(reader.take(byte));
    EXPECT_TRUE(reader.take(single));
    EXPECT_EQ(single, std::bit_cast<float>(0x3F800504U));
    std::uint32_t tooWide = 77;
    EXPECT_FALSE(reader.take(tooWide));
    EXPECT_EQ(tooWide, 77U);
    EXPECT_FALSE(reader.take(byte)) << "the last byte went with the broken field";
}

TEST(ScriptPath, CompletesCutsAndLeavesAlone) {
    const TempFolder folder;
    const std::string file = folder / "orvel.ini";
    setenv("ORVEL_CONFIG", file.c_str(), 1);
    const std::string longText(3000, 'n');
    const std::string cases[][3] = {{"D:\\S", "x1", "D:\\S\\x1"},
                                    {"D:\\S\\", "x1", "D:\\S\\\\x1"},
                                    {"", "x1", "x1"},
                                    {"D:\\S", "", "as before"},
                                    {"D:\\S", longText, ("D:\\S\\" + longText).substr(0, 1023)},
                                    {longText, "x1", longText.substr(0, 1023)}};
    for (const auto& [setting, name, expected] : cases) {
        std::ofstream(file) << "[other]\nScriptDir=wrong\n[Software\\Orvel\\scripts]\r\n; long"
                            << std::string(7000, ' ') << "ScriptDir=wrong\n ScriptDir = " << setting
                            << "\r\n[last]\nScriptDir=wrong\n";
        char path[1024] = "as before";
        CompleteImoPath(path, name.c_str());
        EXPECT_EQ(std::string(path), expected);
    }
    setenv("ORVEL_CONFIG", (folder / "missing.ini").c_str(), 1);
    char path[1024] = "as before";
    CompleteImoPath(path, "bare");
    EXPECT_STREQ(path, "bare");
    CompleteImoPath(path, nullptr);
    EXPECT_STREQ(path, "bare");
    unsetenv("ORVEL_CONFIG");
}

}  // namespace
}  // namespace lumo::test
