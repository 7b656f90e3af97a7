// A program that does nothing, linked with what `darkroom` needs of the image library at its start.
#include <opencv2/core.hpp>

int main() {
    return cv::Mat().empty() ? 0 : 1;
}
