// A photograph in the colours of another: transfer_colors PHOTOGRAPH PALETTE RESULT
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    likeness::TransferOptions options;
    options.t = 0.5;  // half of the way
    const likeness::Transfer transfer = likeness::transferColors(cv::imread(argv[1]), cv::imread(argv[2]), options);
    return cv::imwrite(argv[3], transfer.image * 255) ? 0 : 1;
}
