// Writes the studio tests' disc picture to the PNG file named on the command line.
#include "discimage.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.png\n", argv[0]);
        return 2;
    }
    if (!cv::imwrite(argv[1], discimage::Make())) {
        std::fprintf(stderr, "%s: cannot write the image\n", argv[1]);
        return 1;
    }
    return 0;
}
