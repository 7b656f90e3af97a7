#include "photofile/test_profiles.hpp"

#include "photofile/color_profile.hpp"

#include <lcms2.h>

#include <algorithm>

namespace likeness::testing {
namespace {

void describe(cmsHPROFILE profile, const char* name) {
    cmsMLU* const text = ::cmsMLUalloc(nullptr, 1);
    ::cmsMLUsetASCII(text, "en", "US", name);
    ::cmsWriteTag(profile, cmsSigProfileDescriptionTag, text);
    ::cmsMLUfree(text);
}

/// Closes the profile.
std::vector<unsigned char> saved(cmsHPROFILE profile, const char* name) {
    describe(profile, name);
    cmsUInt32Number size = 0;
    ::cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<unsigned char> icc(size);
    ::cmsSaveProfileToMem(profile, icc.data(), &size);
    ::cmsCloseProfile(profile);
    return icc;
}

cmsInt32Number sample(const cmsUInt16Number in[], cmsUInt16Number out[], void* transform) {
    ::cmsDoTransform(transform, in, out, 1);
    return TRUE;
}

/// A profile of the class output with one table from `channels` channels to L*a*b*.
cmsHPROFILE tableProfile(cmsColorSpaceSignature space, unsigned channels, unsigned gridPoints, cmsSAMPLER16 sampler,
                         void* cargo) {
    const cmsHPROFILE profile = ::cmsCreateProfilePlaceholder(nullptr);
    ::cmsSetProfileVersion(profile, 2.1);
    ::cmsSetDeviceClass(profile, cmsSigOutputClass);
    ::cmsSetColorSpace(profile, space);
    ::cmsSetPCS(profile, cmsSigLabData);
    ::cmsWriteTag(profile, cmsSigMediaWhitePointTag, ::cmsD50_XYZ());
    cmsStage* const table = ::cmsStageAllocCLut16bit(nullptr, gridPoints, channels, 3, nullptr);
    ::cmsStageSampleCLut16bit(table, sampler, cargo, 0);
    cmsPipeline* const pipeline = ::cmsPipelineAlloc(nullptr, channels, 3);
    ::cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, table);
    for (const cmsTagSignature tag : {cmsSigAToB0Tag, cmsSigAToB1Tag}) {
        ::cmsWriteTag(profile, tag, pipeline);
    }
    ::cmsPipelineFree(pipeline);
    return profile;
}

cmsInt32Number inkless(const cmsUInt16Number in[], cmsUInt16Number out[], void* /*cargo*/) {
    out[0] = static_cast<cmsUInt16Number>(0xFF00 - in[3] / 2);
    out[1] = 0x8000;
    out[2] = 0x8000;
    return TRUE;
}

}  // namespace

std::vector<unsigned char> greyProfile(double gamma) {
    cmsToneCurve* const curve = ::cmsBuildGamma(nullptr, gamma);
    const cmsHPROFILE profile = ::cmsCreateGrayProfile(::cmsD50_xyY(), curve);
    ::cmsFreeToneCurve(curve);
    return saved(profile, "grey of the test");
}

std::vector<unsigned char> lutProfile(unsigned gridPoints) {
    const std::vector<unsigned char> p3 = ColorProfile::named("display-p3")->icc();
    const cmsHPROFILE source = ::cmsOpenProfileFromMem(p3.data(), static_cast<cmsUInt32Number>(p3.size()));
    const cmsHPROFILE lab = ::cmsCreateLab2Profile(nullptr);
    const cmsHTRANSFORM transform = ::cmsCreateTransform(source, TYPE_RGB_16, lab, TYPE_LabV2_16,
                                                         INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    const cmsHPROFILE profile = tableProfile(cmsSigRgbData, 3, gridPoints, sample, transform);
    ::cmsDeleteTransform(transform);
    ::cmsCloseProfile(lab);
    ::cmsCloseProfile(source);
    return saved(profile, "table of the test");
}

std::vector<unsigned char> cmykProfile() {
    return saved(tableProfile(cmsSigCmykData, 4, 3, inkless, nullptr), "CMYK of the test");
}

std::vector<unsigned char> linkProfile() {
    return saved(::cmsCreateInkLimitingDeviceLink(cmsSigCmykData, 200), "link of the test");
}

std::vector<unsigned char> lacking(std::vector<unsigned char> icc, const std::string& tag) {
    const auto found = std::search(icc.begin() + 128, icc.end(), tag.begin(), tag.end());
    if (found != icc.end()) {
        *found = 'q';
    }
    return icc;
}

}  // namespace likeness::testing
