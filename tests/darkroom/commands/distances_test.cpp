// darkroom compare --distances.
#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/distances.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace likeness::testing {
namespace {

using Json = nlohmann::json;

class DarkroomDistances : public DarkroomProgram {};

TEST_F(DarkroomDistances, AreThoseOfTheLibrary) {
    const std::vector<std::string> asked = {"compare", photo("cat.jpg"), photo("coffee.jpg"), "--distances", "--quiet"};
    const auto with = [&](std::vector<std::string> further) {
        further.insert(further.begin(), asked.begin(), asked.end());
        return expectDone(further).out;
    };
    AnalysisOptions options;
    const Analysis cat = analyze(examplePhotograph("cat.jpg"), options);
    const Analysis coffee = analyze(examplePhotograph("coffee.jpg"), options);
    const auto expected = distancesOf(cat.distributions(), coffee.distributions());
    const Json json = Json::parse(with({"--json"})).at("distances");
    EXPECT_EQ(json.size(), 5U);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const Json& its = json.at(correlateNames[k].name);
        EXPECT_DOUBLE_EQ(its.at("wasserstein").get<double>(), expected[k].wasserstein);
        EXPECT_DOUBLE_EQ(its.at("mean_shift").get<double>(), expected[k].meanShift);
        EXPECT_DOUBLE_EQ(its.at("kolmogorov_smirnov").get<double>(), expected[k].kolmogorovSmirnov);
        EXPECT_DOUBLE_EQ(its.at("jensen_shannon_bits").get<double>(), expected[k].jensenShannon);
    }
    options.maps = true;
    options.model.kind = AppearanceModelKind::ciecam16;
    const UniformDistances uniform = uniformDistances(analyze(examplePhotograph("cat.jpg"), options).maps(),
                                                      analyze(examplePhotograph("coffee.jpg"), options).maps());
    const Json published = Json::parse(with({"--json", "--model", "ciecam16"})).at("distances");
    EXPECT_DOUBLE_EQ(published.at("uniform").at("total").get<double>(), uniform.total);
    EXPECT_GT(uniform.total, 1);
    const std::vector<std::string> text = linesOf(with({"--model", "ciecam16"}));
    ASSERT_EQ(text.size(), 7U);
    EXPECT_EQ(text[1].rfind("brightness: Wasserstein ", 0), 0U);
    EXPECT_EQ(text[6].rfind("uniform: J' ", 0), 0U);
    const std::vector<std::string> csv = linesOf(with({"--csv", "--model", "ciecam16"}));
    EXPECT_NE(csv[0].find(",saturation,brightness_wasserstein,brightness_mean_shift,"), std::string::npos);
    EXPECT_NE(csv[1].find(',' + nineDigits(uniform.total)), std::string::npos);
}

TEST_F(DarkroomDistances, AreGivenWhenAskedForOnly) {
    const Outcome plain = expectDone({"compare", photo("cat.jpg"), photo("coffee.jpg"), "--quiet"});
    const Outcome with = expectDone({"compare", photo("cat.jpg"), photo("coffee.jpg"), "--quiet", "--distances"});
    EXPECT_EQ(linesOf(plain.out).size(), 1U);
    EXPECT_EQ(with.out.rfind(plain.out, 0), 0U);
    EXPECT_EQ(linesOf(with.out).size(), 6U);
}

TEST_F(DarkroomDistances, AreSlicedUnderAPublishedModel) {
    const auto sliced = [&](const char* first, const char* second, const char* seed) {
        const Outcome done = expectDone({"compare", photo(first), photo(second), "--model", "ciecam16", "--sliced",
                                         "--seed", seed, "--json", "--quiet"});
        return Json::parse(done.out).at("distances").at("sliced_wasserstein").get<double>();
    };
    EXPECT_EQ(sliced("cat.jpg", "cat.jpg", "1"), 0);
    const double far = sliced("cat.jpg", "coffee.jpg", "1");
    EXPECT_GT(far, 5);
    EXPECT_EQ(sliced("cat.jpg", "coffee.jpg", "1"), far);
    EXPECT_NEAR(sliced("coffee.jpg", "cat.jpg", "1"), far, 1e-9);
    // Other directions see nearly the same: 64 of them leave some hundredths.
    const double other = sliced("cat.jpg", "coffee.jpg", "2");
    EXPECT_NE(other, far);
    EXPECT_NEAR(other, far, 0.05 * far);
    EXPECT_LT(sliced("cat.jpg", "cat_swell.jpg", "1"), far);
    const Outcome text =
        expectDone({"compare", photo("cat.jpg"), photo("coffee.jpg"), "--model", "ciecam16", "--sliced", "--quiet"});
    ASSERT_EQ(linesOf(text.out).size(), 2U);
    EXPECT_EQ(linesOf(text.out)[1].rfind("sliced Wasserstein: ", 0), 0U);
}

}  // namespace
}  // namespace likeness::testing
