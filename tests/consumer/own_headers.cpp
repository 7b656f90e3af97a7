// The consumer has headers under paths that the library has below its root, and both are found.
#include <likeness/color/lab.hpp>
#include <likeness/likeness.hpp>
#include "color/lab.hpp"
#include "diagnostics/diagnostics.hpp"
#include "filter/filter.hpp"

#if LIKENESS_VERSION_NUMBER < 1000
#error "the version header tells no version"
#endif

int main() {
    const cv::Mat photograph(4, 6, CV_8UC3, cv::Scalar(40, 90, 160));
    const cv::Mat lab = likeness::labFromBgr(photograph);
    return lab.size() == photograph.size() && consumersOwnLab() + consumersOwnFilter() + consumersOwnDiagnostics() == 6
               ? 0
               : 1;
}
