// Writes the bundled sample image: 40 dark cells on a light, noisy
// background, 30 standing alone and 5 pairs that touch, none near the border.
// Usage: autocount_generate_sample OUTPUT.png

#include "syntheticcells.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.png\n", argv[0]);
        return 2;
    }
    syntheticcells::LayoutParams params; // 800 × 600, 100-pixel slots, 30 singles, 5 pairs
    params.seed = 2024;
    const syntheticcells::Layout layout = syntheticcells::MakeLayout(params);
    const cv::Mat image = syntheticcells::Render(layout);
    if (!cv::imwrite(argv[1], image)) {
        std::fprintf(stderr, "%s: cannot write\n", argv[1]);
        return 1;
    }
    std::printf("%s: %d cells (%d alone, %d touching pairs)\n", argv[1], layout.Objects(),
                layout.singles, layout.pairs);
    return 0;
}
