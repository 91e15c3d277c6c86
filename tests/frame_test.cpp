// Time stamps, the log, last errors, versions, the script path.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "frame/bytes.h"
#include "frame/call_frame.h"
#include "frame/history.h"
#include "frame/ini2.h"
#include "frame/time_stamp.h"
#include "support/support.h"

namespace lumo::test {
namespace {

std::tm calendar(int year, int month, int day, int hour, int minute, int second, int weekday) {
    std::tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    time.tm_wday = weekday;
    return time;
}

TEST(TimeStamp, FormatsEnglishNamesAndMarksFieldsOutOfRange) {
    const struct {
        std::tm time;
        const char* text;
    } cases[] = {
        {calendar(2008, 11, 1, 9, 5, 3, 1), "Mon, 01 Dec 2008 09:05:03 GMT"},
        {calendar(2024, 0, 31, 23, 59, 59, 6), "Sat, 31 Jan 2024 23:59:59 GMT"},
        {calendar(2008, 12, 1, 9, 5, 3, 0), "Sun, 01 XXX 2008 09:05:03 GMT"},
        {calendar(2008, -1, 1, 9, 5, 3, -1), "XXX, 01 XXX 2008 09:05:03 GMT"},
        {calendar(12345, 0, 1, 0, 0, 0, 0), ""},
    };
    for (const auto& one : cases) {
        char text[timeStampSize];
        FormatTimeStamp(text, &one.time);
        EXPECT_STREQ(text, one.text);
    }
}

TEST(TimeStamp, ParsesWhatItFormatsAndRejectsTheRest) {
    std::tm time = calendar(1999, 5, 5, 5, 5, 5, 5);
    ASSERT_EQ(ParseTimeStamp("Mon, 01 Dec 2008 09:05:03 GMT", &time), 0);
    EXPECT_EQ(time.tm_mday, 1);
    EXPECT_EQ(time.tm_mon, 11);
    EXPECT_EQ(time.tm_year, 108);
    EXPECT_EQ(time.tm_hour, 9);
    EXPECT_EQ(time.tm_min, 5);
    EXPECT_EQ(time.tm_sec, 3);
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

TEST(TimeStamp, CurrentOneIsLocalTime) {
    const std::time_t before = std::time(nullptr);
    char text[timeStampSize], again[timeStampSize];
    CurrentTimeStamp(text);
    const std::time_t after = std::time(nullptr);
    bool matches = false;
    for (std::time_t at = before; at <= after; ++at) {
        std::tm fields{};
        localtime_r(&at, &fields);
        FormatTimeStamp(again, &fields);
        matches = matches || std::strcmp(text, again) == 0;
    }
    EXPECT_TRUE(matches) << text;
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
    EXPECT_TRUE(matches(
        first,
        R"([0-9]{4}-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\.[0-9]{3} 5 lumo Start 2\.2\.1\.176 from 'R2\.2\.1')"))
        << first;
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
    std::vector<std::string> seen;
    for (const int code : {0, 1, -1, -2, -8, -11, -14, -16, -20, -50, -102, -10004, -10006, -999}) {
        const std::string text = lmtErrorMessage(code);
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(std::count(seen.begin(), seen.end(), text), 0) << code;
        seen.push_back(text);
    }
}

TEST(CallFrame, TurnsRaisedCodesAndExhaustedMemoryIntoResults) {
    const LogLines log;
    EXPECT_EQ(callFrame("Demo", [] { raise(-20); }), -20);
    EXPECT_EQ(lmtGetLastError(), -20);
    EXPECT_EQ(callFrame("Demo", [] { throw std::bad_alloc(); }), -8);
    EXPECT_EQ(lmtGetLastError(), -8);
    EXPECT_EQ(callFrame("Demo", [] {}), 0);
    EXPECT_EQ(lmtGetLastError(), -8) << "success does not reset it";
    const std::vector<std::string> expected = {"8 Demo entry",
                                               std::string("3 Demo -20 ") + lmtErrorMessage(-20),
                                               "7 Demo return -20",
                                               "8 Demo entry",
                                               std::string("3 Demo -8 ") + lmtErrorMessage(-8),
                                               "7 Demo return -8",
                                               "8 Demo entry",
                                               "7 Demo return 0"};
    EXPECT_EQ(log.lines(), expected);
}

TEST(Version, TextsNameLibraryAndLibpng) {
    char text[64];
    EXPECT_EQ(Get_Version(text), 0);
    EXPECT_TRUE(matches(
        text,
        R"(2\.2\.1\.176 from 'R2\.2\.1' [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9][0-9]:[0-9][0-9]:[0-9][0-9])"))
        << text;
    EXPECT_EQ(Get_Version(nullptr), 0);
    const char* version = LumoGetVersion();
    EXPECT_EQ(version, LumoGetVersion());
    EXPECT_TRUE(matches(
        version,
        R"(2\.2\.1\.176 from 'R2\.2\.1' compiled with libpng 1\.2\.14beta2 - using libpng 1\.[0-9]+\.[0-9]+.*)"))
        << version;
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
    const struct {
        std::string setting, name, path;
    } cases[] = {
        {"D:\\S", "x1", "D:\\S\\x1"},
        {"D:\\S\\", "x1", "D:\\S\\\\x1"},
        {"", "x1", "x1"},
        {"D:\\S", "", "as before"},
        {"D:\\S", longText, ("D:\\S\\" + longText).substr(0, 1023)},
        {longText, "x1", longText.substr(0, 1023)},
    };
    for (const auto& one : cases) {
        std::ofstream(file)
            << "[other]\nScriptDir=wrong\n[Software\\Orvel\\scripts]\r\n; note\n ScriptDir = "
            << one.setting << "\r\n[last]\nScriptDir=wrong\n";
        char path[1024] = "as before";
        CompleteImoPath(path, one.name.c_str());
        EXPECT_EQ(std::string(path), one.path);
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
