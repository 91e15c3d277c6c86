// The settings store: what is set comes back, nothing else changes, foreign text keeps its meaning.
#include "frame/ini2.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "frame/ini2_lookup.h"
#include "support/support.h"

namespace {

using namespace std::string_literals;
using lumo::test::Random;

using Words = std::vector<std::string>;

/// Tables of texts, a row to an entry, columns divided by the second character.
Words split(const std::string& all, char divider) {
    Words words(1);
    for (const char c : all) {
        if (c == divider)
            words.emplace_back();
        else
            words.back() += c;
    }
    return words;
}

Words awkwardTexts() {
    Words words = split(
        "plain|| |\t| lead|trail |a "
        "b|a\nb|\n|a\r\nb\r\n|\r|x\n[S]\nguard=2|[T]|]|[|a]b|=|a=b|=b|;|;x|"
        "#x|;: "
        "x|%|100%|%41|%lumo:|%lumo:x|%lumo:%41|;%lumo:x|C:\\dir\\n\\x41|\"q\"|'|\x01|\x7f|\x1b|"
        "\xff\xc3\xa4|\xEF\xBB\xBF|a;b#c|guard2|",
        '|');
    words.back() = std::string(900, 'v');
    return words;
}

std::string text(ini2& store) {
    return {store.getBuffer(), store.getSize()};
}

std::string value(ini2& store, const std::string& section, const std::string& key) {
    char buffer[1024];
    std::memset(buffer, 'u', sizeof buffer);
    store.get(section.c_str(), key.c_str(), buffer, "<none>");
    return buffer;
}

void set(ini2& store, const std::string& section, const std::string& key, const std::string& what) {
    store.set(section.c_str(), key.c_str(), what.c_str(), nullptr);
}

std::string body(ini2& store, const char* section) {
    int size = 0;
    EXPECT_EQ(store.getBody(section, nullptr, &size), 0);
    std::string bytes(std::size_t(size) + 1, 'u');
    int room = size + 1;
    EXPECT_EQ(store.getBody(section, bytes.data(), &room), 0);
    EXPECT_EQ(room, size);
    EXPECT_EQ(bytes.back(), 'u');
    return bytes.substr(0, bytes.size() - 1);
}

void setBody(ini2& store, const char* section, const std::string& bytes) {
    store.setBody(section, bytes.data(), int(bytes.size()), nullptr);
}

/// The store that its text makes.
struct Reread : ini2 {
    explicit Reread(const std::string& all) : ini2(all.c_str(), int(all.size() + 1)) {}
    explicit Reread(ini2& store) : Reread(text(store)) {}
};

std::string randomText(Random& random, std::uint32_t longest) {
    static const Words parts = split(
        "a|b|[|]|=|\n|\n|\r\n| |\t|%|0|A|;|:|#|%lumo:|;%lumo:|;: |[S]|\xff|\n[S]\n|%\n|\xEF\xBB\xBF|"s +
            '\0',
        '|');
    std::string made;
    for (std::uint32_t n = random.below(longest + 1); n > 0; --n)
        made += parts[random.below(std::uint32_t(parts.size()))];
    return made;
}

/// A caller's text and size with a store's life around each change.
struct Bound {
    char* text;
    int size;
    explicit Bound(const std::string& start)
        : text(strdup(start.c_str())), size(int(start.size() + 1)) {}
    Bound(const Bound&) = delete;
    Bound& operator=(const Bound&) = delete;
    ~Bound() { std::free(text); }
    template <class Change>
    std::string after(Change change) {
        {
            ini2 store(&text, &size);
            change(store);
        }
        EXPECT_EQ(std::size_t(size), std::strlen(text) + 1);
        return text;
    }
};

TEST(Ini2, AnyNameAndValueComesBackAndForgesNothing) {
    const auto check = [](const std::string& section, const std::string& key,
                          const std::string& what) {
        ini2 store;
        set(store, "S", "guard", "1");
        set(store, section, key, "old");
        set(store, "S", "guard2", "2");
        set(store, section, key, what);
        ASSERT_EQ(value(store, section, key), what) << text(store);
        ASSERT_EQ(text(store).find_first_of("\t\r\x01\x7f"), std::string::npos) << text(store);
        Reread reread(store);
        ASSERT_EQ(value(reread, section, key), what) << text(store);
        ASSERT_EQ(lumo::ini::findValue(text(store), section, key), what) << text(store);
        ASSERT_EQ(reread.remove(section.c_str(), key.c_str()), 0);
        ASSERT_NE(reread.remove(section.c_str(), key.c_str()), 0);
        ASSERT_EQ(value(reread, section, key), "<none>");
        ASSERT_EQ(body(reread, section.c_str()), "");
        ASSERT_EQ(body(reread, "S"), "guard=1\nguard2=2\n");
    };
    const Words words = awkwardTexts();
    for (const std::string& one : words)
        for (const std::string& other : words) {
            check(one, other, one);
            check("s", one, other);
        }
}

TEST(Ini2, AnyBodyComesBackByteForByte) {
    Words bodies = awkwardTexts();
    for (const std::string& more :
         split("a=1\r\nb=2|\n\n|a=1\n[S]\nb=2\n|no end%|;%lumo:a%\n|;%lumo:a%|\0\0\n\xff\0"s, '|'))
        bodies.push_back(more);
    Random random(1);
    for (int i = 0; i < 3000; ++i) bodies.push_back(randomText(random, 12));
    for (const std::string& bytes : bodies) {
        Bound bound("[S]\na=1\n[X]\nold=1\n[T]\nb=2\n[X]\nold=2\n");
        bound.after([&](ini2& store) {
            setBody(store, "X", bytes);
            ASSERT_EQ(body(store, "X"), bytes);
        });
        Reread reread(bound.text);
        ASSERT_EQ(body(reread, "X"), bytes) << bound.text;
        ASSERT_EQ(body(reread, "S") + body(reread, "T"), "a=1\nb=2\n") << bound.text;
        ini2 merged;
        set(merged, "S", "c", "3");
        merged.set(reread);
        set(merged, "U", "d", "4");
        ASSERT_EQ(body(merged, "X"), bytes) << text(merged);
        set(merged, "X", "added entry", "5");
        const bool ended = bytes.empty() || bytes.back() == '\n';
        ASSERT_EQ(body(merged, "X"), bytes + (ended ? "" : "\n") + "added entry=5\n")
            << text(merged);
    }
}

TEST(Ini2, ABodyOfEntriesIsReadByKey) {
    ini2 store;
    setBody(store, "X",
            "first = 1\r\n[x]\nb=%41\nz=0\0"s
            "0\n;c=3\n[d]=4\nlast=5"s);
    EXPECT_EQ(value(store, "X", "first") + value(store, "X", "b") + value(store, "X", "last"),
              "1%415");
    EXPECT_EQ(value(store, "X", "z") + value(store, "X", "[d]") + value(store, "X", "c"),
              "04<none>");
    set(store, "X", "last", "6");
    EXPECT_EQ(body(store, "X"),
              "first = 1\r\n[x]\nb=%41\nz=0\0"s
              "0\n;c=3\n[d]=4\nlast=6\n"s);
}

TEST(Ini2, BodyGetFollowsTheSizeProtocol) {
    ini2 store;
    setBody(store, "X", "abc");
    char buffer[5] = "----";
    for (const auto& [size, count, expected] : {std::tuple{-1, 3, "----"},
                                                {0, 3, "----"},
                                                {2, 2, "ab--"},
                                                {3, 3, "abc-"},
                                                {9, 3, "abc-"}}) {
        int room = size;
        EXPECT_EQ(store.getBody("X", buffer, &room), 0);
        EXPECT_EQ(room, count);
        EXPECT_STREQ(buffer, expected);
    }
    EXPECT_NE(store.getBody("X", buffer, nullptr), 0);
    EXPECT_EQ(body(store, "Y"), "");
    store.setBody("X", "abc", -1, nullptr);
    EXPECT_EQ(text(store), "[X]\n");
}

TEST(Ini2, ForeignTextKeepsItsMeaning) {
    const std::string all =
        "\xEF\xBB\xBF[A]\r\n  key = some value \t\r\nkey=later\n;key2=no\n#key2=no\nkey2=\"q\" ; "
        "c\r\n"
        "=empty\npath=C:\\n\\%41\n[ B ] ; name\n[open\nx=[y]\n[A]\nmore=1\n[A%41]\ny=2\n"
        "[%lumo:%5a%6f%4A%4F%30%39]\nz=5\n[%lumo:T%5D]\nz=4\n"
        "[%lumo:U%5D]\n;%lumo:z=%\r\n[V]\n;%lumo:a\r\r\n[]\nz=3\nEnd=";
    Reread store(all);
    const Words cases = split(
        "A|key|some value~A|key2|\"q\" ; c~A||<none>~A|Key|<none>~A|path|C:\\n\\%41~B|x|[y]~"
        "B|more|<none>~A|more|1~A%41|y|2~ZoJO09|z|5~AA|y|<none>~T]|z|4~U]|z|~|z|3~|End|~"
        "A|#key2|<none>~A|;key2|<none>",
        '~');
    for (int round = 0; round < 4; ++round)  // the first by walking, later ones by an index
        for (const std::string& row : cases) {
            const Words word = split(row, '|');
            EXPECT_EQ(value(store, word[0], word[1]), word[2]) << row;
            const auto found = lumo::ini::findValue(all, word[0], word[1]);
            EXPECT_EQ(found.value_or("<none>"), word[2]) << row;
        }
    EXPECT_EQ(text(store), all);
    EXPECT_EQ(body(store, "B") + body(store, "U]") + body(store, "V"), "[open\nx=[y]\nz=a\r\n");
}

TEST(Ini2, AChangeLeavesAllOtherBytes) {
    const std::map<std::string, void (*)(ini2&)> changes = {
        {"set", [](ini2& s) { s.set("S", "k", 1L, nullptr); }},
        {"comment", [](ini2& s) { s.set("S", "k", "2", "c\nd\re"); }},
        {"no comment", [](ini2& s) { s.set("S", "k", "2", ""); }},
        {"move", [](ini2& s) { s.remove("S", "k"), s.set("S", "k", 1L, nullptr); }},
        {"bare body", [](ini2& s) { s.setBody("S", "b=2\n", 4, nullptr); }},
        {"remove", [](ini2& s) { s.remove("S", "k"); }},
        {"body", [](ini2& s) { s.setBody("S", "b=2\n", 4, "c"); }},
        {"null", [](ini2& s) { s.set(nullptr, "k", "", ""), s.set("S", nullptr, "", ""); }}};
    for (const char* row : {
             "set||[S]\nk=1\n",
             "set|x[S]\n|x[S]\n[S]\nk=1\n",
             "set|x|x\n[S]\nk=1\n",
             "set|[S]\n\na b\n k = 0\r\nj|[S]\n\na b\nk=1\nj",
             "set|[S]\n;: e\nk=0|[S]\n;: e\nk=1\n",
             "set|[S]\r\n[T]|[S]\r\nk=1\n[T]",
             "set|[S]\n[T]\n[S]\nj=\n[U]|[S]\n[T]\n[S]\nj=\nk=1\n[U]",
             "set|\xEF\xBB\xBF[S]\nj|\xEF\xBB\xBF[S]\nj\nk=1\n",
             "comment|[S]\n;: e\nk=0|[S]\n;: c d e\nk=2\n",
             "comment|[S]\n; e\nk=0|[S]\n; e\n;: c d e\nk=2\n",
             "no comment|[S]\n; e\n;: f\nk=0|[S]\n; e\nk=2\n",
             "remove|[S]\nk=0\n;: e\nj=0\n;: f\nk=5\n|[S]\n;: e\nj=0\n",
             "move|[S]\n;%lumo:x%\nk=0|[S]\nx\nk=1\n",
             "bare body|[ S ] ; x\nk=0|[ S ] ; x\nb=2\n",
             "body|[S]\nk=1\n[T]\n[S]\nj=\n[U]|[S] ;: c\nb=2\n[T]\n[U]",
             "null|[S]\nk=0|[S]\nk=0",
         }) {
        const Words words = split(row, '|');
        EXPECT_EQ(Bound(words[1]).after(changes.at(words[0])), words[2]) << words[0];
    }
}

TEST(Ini2, ABoundStoreThatWasOnlyReadLeavesTextAndAddress) {
    Bound bound("[S]\nk=1\n[T]\nStep3=x");
    const char* const address = bound.text;
    const std::string after = bound.after([](ini2& store) {
        for (int i = 0; i < 40; ++i) EXPECT_EQ(value(store, "S", "k"), "1");
        int index = 0;
        EXPECT_EQ(store.maxIndex(&index, "T", "Step"), 0);
        EXPECT_NE(store.remove("S", "none"), 0);
        EXPECT_EQ(text(store), "[S]\nk=1\n[T]\nStep3=x");
    });
    EXPECT_EQ(bound.text, address);
    EXPECT_EQ(after, "[S]\nk=1\n[T]\nStep3=x");
}

TEST(Ini2, FinishWritesBackAndTheStoreGoesOn) {
    Bound bound("[S]\nk=1\n");
    const std::string after = bound.after([&](ini2& store) {
        for (const char* k : {"2", "3", "4"}) {
            set(store, "S", "k", k);
            store.finish();
            EXPECT_EQ(bound.text, "[S]\nk="s + k + "\n");
        }
        set(store, "S", "l", "5");
    });
    EXPECT_EQ(after, "[S]\nk=4\nl=5\n");
    char* none = nullptr;
    int size = 0;
    { ini2(&none, &size).set("S", "k", "v", nullptr); }
    EXPECT_STREQ(none, "[S]\nk=v\n");
    EXPECT_EQ(size, 9);
    std::free(none);
}

TEST(Ini2, ACopiedTextEndsAtItsZeroOrItsLength) {
    EXPECT_EQ(ini2("[S]\nab", 5).getSize(), 5U);
    EXPECT_EQ(ini2("[S]\na\0b", 7).getSize(), 5U);
    EXPECT_EQ(ini2(nullptr, 5).getSize() + ini2("a", -1).getSize() + ini2().getSize(), 0U);
}

TEST(Ini2, MergesByEntryAndKeepsTheRestOnce) {
    for (const char* row :
         {"[S]\na=1\nb = 2\n|[S]\nb=2\na=3\nc=4\n|[S]\na=3\nb = 2\nc=4\n",
          "[S]\na=1|[T]\nx\n\n\nx\n[S]\nb=2|[S]\na=1\nb=2\n[T]\nx\n\n\nx\n",
          "[S]\n; c\nx\n|[S]\n; c\ny\n\nx\ny\n|[S]\n; c\nx\ny\n\n",
          "[S]\n;: c\na=1\n|[S]\n;: d\na=1\n;: e\nb=2\n|[S]\n;: d\na=1\n;: e\nb=2\n",
          "[S]\n;: c\na=1\n|[S]\n;: c\n\na=2\n|[S]\n;: c\na=2\n\n",
          "[S]\n;: c\na=1\n|[S]\na=2\na=3\n|[S]\n;: c\na=2\n",
          "p\nq\n[S]\n|q\nr\nr\n[T]|p\nq\nr\n[S]\n[T]\n",
          "[S]\n|; -\n; -\n[T]\n[U]\na=1\n[T]\nb=2\n|; -\n; -\n[S]\n[T]\n[U]\na=1\n[T]\nb=2\n",
          "[%lumo:A]\na=1\n|[A]\n%lumo:a=2\n|[%lumo:A]\n%lumo:a=2\n",
          "[S]\n;%lumo:x%\n|[S]\n;%lumo:a=1%\n|[S]\nx\na=1\n",
          "[S]\n;%lumo:x%0A[T]%\n|[S]\na=1\n|[S]\n;%lumo:x%0A[T]\na=1\n",
          "|\xEF\xBB\xBF\xEF\xBB\xBFx|x", "|\xEF\xBB\xBF[S]\r\na=1\r\n|[S]\r\na=1\r\n"}) {
        const Words texts = split(row, '|');
        Reread store(texts[0]), other(texts[1]);
        for (int time = 0; time < 2; ++time) {
            store.set(other);
            EXPECT_EQ(text(store), texts[2]);
            EXPECT_EQ(text(other), texts[1]);
        }
        store.set(store);
        EXPECT_EQ(text(store), texts[2]);
    }
}

TEST(Ini2, MaxIndexTakesNumbersThatLeaveRoomForOneMore) {
    for (const char* row :
         {"Step7=x\nStep3=|7", "Step=1\nstep1=\nStepX=\nStep1x=|-1", "Step007=|7", "Step0=|0",
          "|-1", "Step-3=\nStep+4=\nStep 5=|-1", "Step2147483646=|2147483646",
          "Step2147483647=\nStep2=|2", "Step99999999999999999999=|-1",
          "%lumo:Step%33=\n;%lumo:Step4=x|4", " Step5 = x\n;Step6=\nStep8|5"}) {
        const Words words = split(row, '|');
        const int expected = std::stoi(words[1]);
        Reread store("[T]\nStep9=\n[S]\n" + words[0] + "\n[U]\n");
        int index = -1;
        EXPECT_EQ(store.maxIndex(&index, "S", "Step") == 0, expected >= 0) << row;
        EXPECT_EQ(index, expected) << row;
    }
}

TEST(Ini2, NumbersReadBackAndBadOnesFallBack) {
    ini2 store;
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double number : {0.0, -0.0, 0.1, 1e-310, 5e-324, 1.7976931348623157e308, -12345.678,
                                1e22, infinity, -infinity, std::nan("")}) {
        store.set("S", "d", number, nullptr);
        double back = 7;
        EXPECT_EQ(store.get("S", "d", &back, 7), 0);
        EXPECT_TRUE(std::isnan(number) ? std::isnan(back) : back == number) << number;
        EXPECT_EQ(std::signbit(back), std::signbit(number));
    }
    for (const long number : {0L, -1L, LONG_MAX, LONG_MIN}) {
        store.set("S", "l", number, nullptr);
        long back = 7;
        EXPECT_EQ(store.get("S", "l", &back, 7), 0);
        EXPECT_EQ(back, number);
    }
    store.set("S", "i", 12, nullptr);  // not a body of twelve bytes
    EXPECT_EQ(value(store, "S", "i"), "12");
    const std::tuple<const char*, long, double> cases[] = {
        {"12.75mm", 12, 12.75},
        {" +3", 3, 3},
        {"-4,5", -4, -4},
        {"x1", 7, 7},
        {"", 7, 7},
        {"+-1", 7, 7},
        {"99999999999999999999", LONG_MAX, 1e20},
        {"-99999999999999999999", LONG_MIN, -1e20},
        {"1e999", 1, 7},
        {"info", 7, 7},
        {"nano", 7, 7},
        {"0x10", 0, 0}};
    for (const auto& [what, whole, real] : cases) {
        set(store, "S", "n", what);
        long l = 0;
        double d = 0;
        EXPECT_EQ(store.get("S", "n", &l, 7) != 0, whole == 7) << what;
        EXPECT_EQ(store.get("S", "n", &d, 7) != 0, real == 7) << what;
        EXPECT_EQ(l, whole) << what;
        EXPECT_EQ(d, real) << what;
    }
}

TEST(Ini2, AValueIsCutOnReadingOnly) {
    for (const std::size_t length : {0U, 1022U, 1023U, 1024U, 5000U}) {
        const std::string what(length, 'v');
        ini2 store;
        set(store, "S", "k", what);
        EXPECT_EQ(text(store), "[S]\nk=" + what + "\n");
        EXPECT_EQ(value(store, "S", "k"), what.substr(0, 1023));
        char buffer[1025] = {};
        buffer[1024] = 'u';
        EXPECT_NE(store.get("S", "none", buffer, what.c_str()), 0);
        EXPECT_EQ(buffer, what.substr(0, 1023));
        EXPECT_EQ(buffer[1024], 'u');
        EXPECT_NE(store.get("S", "none", buffer, buffer), 0);
        EXPECT_EQ(buffer, what.substr(0, 1023));
        EXPECT_NE(store.get("S", "none", buffer, nullptr), 0);
        EXPECT_STREQ(buffer, "");
    }
}

/// One store that lives through all changes against one made anew for each, and against a map.
TEST(Ini2, ManyChangesOnOneStoreEqualOneChangeAtATime) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        Random random(seed);
        const std::string start = randomText(random, 40).c_str();
        Reread store(start + "\n[S]\n7=x\n[T]\n7=y\n[S]\n7=z\n7=w\n");
        Bound bound(text(store));
        std::map<std::string, std::string> known;
        for (int step = 0; step < 120; ++step) {
            const std::string section(1, "STU"[random.below(3)]);
            const std::string key = std::to_string(random.below(30));
            const std::string what = randomText(random, 3).c_str(), lines = randomText(random, 6);
            const std::uint32_t kind = random.below(48);
            const auto change = [&](ini2& s) {
                Reread other("[" + section + "]\n" + key + "=m\nx" + key + "\n[V" + key + "]");
                const char* const name = section.c_str();
                if (kind == 0) return s.setBody(name, lines.data(), int(lines.size()), nullptr);
                if (kind < 5) return s.remove(name, key.c_str());
                if (kind < 9) return s.set(other);
                return s.set(name, key.c_str(), what.c_str(), kind < 13 ? "c" : nullptr);
            };
            change(store);
            ASSERT_EQ(text(store), bound.after(change)) << "seed " << seed << " step " << step;
            if (kind == 0) known.clear();
            if (kind > 0) known[section + key] = kind < 5 ? "<none>" : kind < 9 ? "m" : what;
            Reread reread(text(store));
            for (const auto& [name, expected] : known) {
                ASSERT_EQ(value(store, name.substr(0, 1), name.substr(1)), expected) << name;
                ASSERT_EQ(value(reread, name.substr(0, 1), name.substr(1)), expected) << name;
            }
        }
    }
}

}  // namespace
