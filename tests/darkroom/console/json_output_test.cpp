#include "console/json_output.hpp"

#include <likeness/version.hpp>

#include <gtest/gtest.h>

#include <limits>

namespace likeness::darkroom {
namespace {

TEST(JsonOutput, BeginsWithSchemaAndVersion) {
    nlohmann::ordered_json json = jsonOfSchema("white", 3);
    json["path"] = "a\xff";
    EXPECT_EQ(indentedJson(json),
              "{\n  \"schema\": \"darkroom.white\",\n  \"schema_version\": 3,\n"
              "  \"program_version\": \"" LIKENESS_VERSION "\",\n  \"path\": \"a\xef\xbf\xbd\"\n}\n");
}

TEST(JsonOutput, WhatIsNoNumberIsNull) {
    EXPECT_EQ(numberOrNull(0.25).dump(), "0.25");
    EXPECT_EQ(numberOrNull(std::numeric_limits<double>::quiet_NaN()).dump(), "null");
    EXPECT_EQ(numberOrNull(-std::numeric_limits<double>::infinity()).dump(), "null");
}

}  // namespace
}  // namespace likeness::darkroom
