#include "batch/pair_list.hpp"

#include "batch/csv.hpp"
#include "batch/stable_hash.hpp"
#include "files/refusal.hpp"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace likeness::testing {
namespace {

PairList listOf(const std::string& text, std::optional<ListFormat> format = {}, Shard shard = {}) {
    std::istringstream in(text);
    return readPairs(in, "the list", format, shard);
}

std::string refusalOf(const std::string& text, std::optional<ListFormat> format = {}) {
    try {
        listOf(text, format);
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "accepted";
}

TEST(PairList, ReadsCsvWithQuotesAndFurtherColumns) {
    const PairList pairs = listOf(
        "\xef\xbb\xbfnote,second,id,first\r\n"
        "\"a \"\"b\"\", c\nd\",y.jpg,one,x.jpg\r\n"
        "\r\n"
        ",\"y,2.jpg\",,x2.jpg");
    ASSERT_EQ(pairs.size(), 2U);
    EXPECT_EQ(pairs.columns(), std::vector<std::string>{"note"});
    const Pair one = pairs.at(0);
    EXPECT_EQ(one.position, 1U);
    EXPECT_EQ(one.id, "one");
    EXPECT_EQ(one.first, "x.jpg");
    EXPECT_EQ(one.second, "y.jpg");
    EXPECT_EQ(one.carried[0], (CarriedValue{"note", CarriedValue::Kind::text, "a \"b\", c\nd"}));
    const Pair two = pairs.at(1);
    EXPECT_EQ(two.position, 2U);
    EXPECT_EQ(two.id, "x2.jpg|y,2.jpg");
    EXPECT_EQ(two.second, "y,2.jpg");
}

TEST(PairList, TellsTheFormatByTheFirstLine) {
    EXPECT_EQ(listOf("first\tsecond\na b\tc,d\n").at(0).second, "c,d");
    EXPECT_EQ(listOf("\n{\"first\":\"a\",\"second\":\"b\"}\n").at(0).first, "a");
    EXPECT_EQ(listOf("first,second\na\tb,c\n").at(0).first, "a\tb");
    EXPECT_EQ(listOf("first,second\na,b\n", ListFormat::csv).at(0).id, "a|b");
}

TEST(PairList, ReadsJsonLinesWithMembersOfAnyType) {
    const PairList pairs = listOf(
        "{\"first\":\"a\",\"second\":\"b\",\"id\":7,\"iso\":100}\n"
        "{\"lens\":\"x\",\"second\":\"d\",\"first\":\"c\",\"tags\":[1,\"z\"]}\n",
        ListFormat::jsonLines);
    EXPECT_EQ(pairs.columns(), (std::vector<std::string>{"iso", "lens", "tags"}));
    EXPECT_EQ(pairs.at(0).id, "7");
    using Kind = CarriedValue::Kind;
    const std::vector<CarriedValue> first = {
        {"iso", Kind::json, "100"}, {"lens", Kind::absent, ""}, {"tags", Kind::absent, ""}};
    const std::vector<CarriedValue> second = {
        {"iso", Kind::absent, ""}, {"lens", Kind::text, "x"}, {"tags", Kind::json, "[1,\"z\"]"}};
    EXPECT_EQ(pairs.at(0).carried, first);
    EXPECT_EQ(pairs.at(1).carried, second);
}

TEST(PairList, RefusesWithTheLine) {
    EXPECT_EQ(refusalOf(""), "the list: there are no pairs in the list");
    EXPECT_EQ(refusalOf("first,second\n"), "the list: there are no pairs in the list");
    EXPECT_EQ(refusalOf("first,third\na,b\n"), "the list, line 1: there is no column 'second'");
    EXPECT_EQ(refusalOf("\nid,second\na,b\n"), "the list, line 2: there is no column 'first'");
    EXPECT_EQ(refusalOf("first,second,first\na,b,c\n"), "the list, line 1: the column 'first' occurs twice");
    EXPECT_EQ(refusalOf("first,second,\na,b,c\n"), "the list, line 1: a column has no name");
    EXPECT_EQ(refusalOf("first,second,Status\na,b,c\n"),
              "the list, line 1: the results have a column 'Status' of their own");
    EXPECT_EQ(refusalOf("first,second,pairs_shard\na,b,c\n"),
              "the list, line 1: the results have a column 'pairs_shard' of their own");
    EXPECT_EQ(refusalOf("first,second,iso,ISO\na,b,c,d\n"),
              "the list, line 1: the columns 'iso' and 'ISO' differ in upper and lower case only");
    EXPECT_EQ(refusalOf("first,second,First_Mask\na,b,c\n"),
              "the list, line 1: the column 'First_Mask' is written 'first_mask', and would not be read as masks");
    EXPECT_EQ(refusalOf("first,second,second_mask,FIRST_MASK\na,b,c,d\n"),
              "the list, line 1: the column 'FIRST_MASK' is written 'first_mask', and would not be read as masks");
    EXPECT_EQ(refusalOf("first,second\na,b\nc\n"), "the list, line 3: fields: 1, expected 2 as in the header");
    EXPECT_EQ(refusalOf("first,second\n\"a\nb\",c\nd,e,f\n"),
              "the list, line 4: fields: 3, expected 2 as in the header");
    EXPECT_EQ(refusalOf("first,second\na,b\n\"c,d\ne,f\n"), "the list, line 3: a quote is opened and not closed");
    EXPECT_EQ(refusalOf("first,second\n\"a\"b,c\n"), "the list, line 2: there is text behind a closing quote");
    EXPECT_EQ(refusalOf("first,second\na\"b,c\n"),
              "the list, line 2: there is a quote in the middle of a field that does not begin with one");
    EXPECT_EQ(refusalOf("first,second\n,b\n"), "the list, line 2: 'first' is empty");
    EXPECT_EQ(refusalOf("first,second\na,b\nc,d\na,b\nc,d\n"), "the list, line 4: this pair has the id of line 2");
    EXPECT_EQ(refusalOf("first,second,id\na,b,x\nc,d,x\n"), "the list, line 3: this pair has the id of line 2");
    EXPECT_EQ(refusalOf("first,second\na,\xff\n"), "the list, line 2: the text is not UTF-8");
    EXPECT_EQ(refusalOf("{\"first\":\"a\",\"second\":\"b\"}\n[1]\n"), "the list, line 2: this is not a JSON object");
    EXPECT_EQ(refusalOf("{\"first\":\"a\",\"second\":\"b\"}\n{\"first\":\"a\"\n"),
              "the list, line 2: this is not a JSON object");
    EXPECT_EQ(refusalOf("{\"first\":\"a\",\"second\":3}\n"),
              "the list, line 1: there is no member 'second' with a string");
    EXPECT_EQ(refusalOf("{\"first\":\"a\",\"second\":\"b\",\"id\":1.5}\n"),
              "the list, line 1: 'id' is neither a string nor an integer");
    EXPECT_EQ(refusalOf("{\"first\":\"a\",\"second\":\"b\",\"error\":\"c\"}\n"),
              "the list, line 1: the results have a column 'error' of their own");
}

std::string longList(int count) {
    std::string text = "first,second\n";
    for (int k = 0; k < count; ++k) {
        text += 'a';
        text += std::to_string(k);
        text += ".jpg,b.jpg\n";
    }
    return text;
}

TEST(PairList, ShardsPartTheList) {
    constexpr std::uint32_t shards = 16;
    constexpr int count = 4000;
    std::set<std::uint64_t> positions;
    for (std::uint32_t index = 1; index <= shards; ++index) {
        const PairList part = listOf(longList(count), {}, {index, shards});
        EXPECT_EQ(part.total(), std::uint64_t{count});
        // Binomial with mean 250 and deviation 15.3; names that differ in one place must not crowd in a few shards.
        EXPECT_NEAR(static_cast<double>(part.size()), 250.0, 77.0);
        for (std::size_t k = 0; k < part.size(); ++k) {
            EXPECT_TRUE(positions.insert(part.at(k).position).second);
        }
    }
    EXPECT_EQ(positions.size(), std::size_t{count});
}

TEST(PairList, AnAddedPairMovesNoOther) {
    const Shard shard{3, 7};
    const PairList before = listOf(longList(300), {}, shard);
    const PairList after = listOf("first,second\nnew,new2\n" + longList(300).substr(13), {}, shard);
    std::set<std::string> ids;
    for (std::size_t k = 0; k < after.size(); ++k) {
        ids.insert(after.at(k).id);
    }
    for (std::size_t k = 0; k < before.size(); ++k) {
        EXPECT_EQ(ids.count(before.at(k).id), 1U);
    }
    EXPECT_LE(after.size(), before.size() + 1);
}

// The published test vectors of FNV-1a, 64 bits, and the first output of SplitMix64 for the seed 0.
TEST(StableHash, IsThePublishedOne) {
    EXPECT_EQ(fnv1a(""), 0xcbf29ce484222325U);
    EXPECT_EQ(fnv1a("a"), 0xaf63dc4c8601ec8cU);
    EXPECT_EQ(fnv1a("foobar"), 0x85944171f73967e8U);
    EXPECT_EQ(mixed(0x9e3779b97f4a7c15U), 0xe220a8397b1dcdafU);
}

TEST(Shard, IsReadAsAWhole) {
    EXPECT_EQ(parseShard("3/16").index, 3U);
    EXPECT_EQ(parseShard("3/16").count, 16U);
    for (const char* const text : {"", "3", "0/4", "5/4", "1/4x", "a/4", "1/", "1/2000000", "-1/4", "1/4/5"}) {
        EXPECT_THROW(parseShard(text), Refusal) << text;
    }
}

TEST(CsvList, ReadsBack) {
    const std::string text = "id,first,second,note\none,\"a,b\",\"c\"\"d\",\"e\nf\"\n";
    EXPECT_EQ(csvList(listOf(text)), text);
}

}  // namespace
}  // namespace likeness::testing
