// Separation along the necks of the Euclidean distance map.
//
// Each connected object is cut on its own, inside its bounding box:
//
// 1. Exact Euclidean distance to the background. Where an object meets the
//    image border, its edge is carried a quarter of its size (4..64 pixels)
//    beyond it, so that the sliver of an object the border cuts keeps a
//    maximum of its own.
// 2. Seeds. The object's pixels are merged from the highest distance down
//    (union-find). When two regions meet at a pixel of distance s, the one
//    with the lower peak m ends there; its peak becomes a seed when
//        m - s >= k * (s + c),   k = kRelativeHeight / sensitivity.
//    The rise is measured against the saddle's own height, so the rule does
//    not depend on the object's size. In continuous terms two discs of
//    radius r overlapping by a third of r meet in a neck of half-width
//    0.55 r: rise / saddle = 0.8; a neck 0.7 as wide as the narrower object
//    gives 0.43. On thresholded, noisy masks the pixel grid and the soft
//    edges take up to about a pixel off the rise of small objects. Over
//    about 39,000 meetings of two touching objects in generated scenes
//    (objects 6 to about 100 pixels across, dark and bright, with noise) the
//    smallest rise / (saddle + 0.5 px) was 0.173; over about 16,500
//    meetings inside single objects (the jags of outlines, rods of aspect 4,
//    dumbbells whose bar is nine tenths as wide as their bulbs) the largest
//    was 0.182, and only 3 lay above 0.16. Hence k = 0.16 and c = 0.5 px;
//    c keeps the jags of small objects below the bar.
// 3. A flood from the seeds, highest distance first (a queue per level; what
//    waits on a level when its turn comes in raster order, what joins it
//    later first in first out). A pixel whose 8-neighbours already carry two
//    different floods becomes a cut pixel; so no two pieces touch, even
//    diagonally, and the cut lines are one pixel wide.
// 4. Holes. Two convex objects that overlap cannot enclose background, so a
//    hole whose rim, after the flood, belongs to at most two pieces lies
//    inside one object (a nucleus, a highlight). So does a hole with three
//    rim pieces of which one stands out by less than twice k: the jags of a
//    thin rim around a small nucleus split it into a few weak pieces. The
//    pieces around such holes are cut again on their own, with the holes
//    filled for the distance map (the cuts between them and the other pieces
//    stay). Holes with four or more pieces on their rim (a ring of objects,
//    the gaps of a dense field) or three firm ones are background between
//    objects.
//
// The output is the input with the cut pixels cleared; an object that is not
// cut keeps every pixel.

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

// Rise of a maximum over its saddle, as a share of (saddle + kHeightOffset);
// see the figures above.
constexpr double kRelativeHeight = 0.16;
constexpr double kHeightOffset = 0.5; // pixels
// A hole ringed by three pieces stays background between objects when each
// stands out by at least this multiple of kRelativeHeight.
constexpr double kFirmRim = 2.0;
// Objects are cut in this many batches; between batches the caller's thread
// reports progress and looks at the cancel flag.
constexpr int kBatches = 32;
// How far an object that meets the image border is carried beyond it.
constexpr int kMinReach = 4;
constexpr int kMaxReach = 64;
// Boxes of more pixels than this give buffers back as soon as they are done.
constexpr int kLargeBox = 1 << 20;
// The flood looks at the cancel flag every this many pixels.
constexpr int kCancelStride = 1 << 14;

constexpr int kLine = -1;       // cut pixel
constexpr int kQueued = -2;     // waiting in the flood's queue
constexpr int kBackground = -3; // not part of the object

struct Cancelled
{
};

// Buffers of one object's box, kept between objects of one worker.
class ObjectCutter
{
public:
    ObjectCutter(double relativeHeight, const std::atomic<bool>* cancel)
        : relativeHeight_(relativeHeight), cancel_(cancel)
    {
    }

    // Cuts object @p id of @p labels inside @p box; clears its cut pixels in
    // @p result. Throws Cancelled.
    void Cut(const cv::Mat& labels, int id, const cv::Rect& box, cv::Mat& result)
    {
        cv::Mat mask(box.size(), CV_8UC1);
        for (int y = 0; y < box.height; ++y) {
            const int* l = labels.ptr<int>(box.y + y) + box.x;
            uchar* m = mask.ptr<uchar>(y);
            for (int x = 0; x < box.width; ++x)
                m[x] = l[x] == id ? 255 : 0;
        }
        // Where the object meets the image border it goes on beyond it: its
        // edge row or column is carried outward, so a sliver of an object cut
        // by the border keeps a maximum of its own instead of flowing into
        // its inner neighbour. One pixel of background frames the whole.
        const int reach = std::clamp(std::max(box.width, box.height) / 4, kMinReach, kMaxReach);
        const int left = box.x == 0 ? reach : 0;
        const int top = box.y == 0 ? reach : 0;
        const int right = box.x + box.width == labels.cols ? reach : 0;
        const int bottom = box.y + box.height == labels.rows ? reach : 0;
        if (left + top + right + bottom > 0)
            cv::copyMakeBorder(mask, mask, top, bottom, left, right, cv::BORDER_REPLICATE);
        cv::copyMakeBorder(mask, object_, 1, 1, 1, 1, cv::BORDER_CONSTANT, cv::Scalar(0));
        mask.release();

        if (Separate(object_) <= 1)
            return;
        RecutAroundInnerHoles();

        const int x0 = left + 1, y0 = top + 1;
        for (int y = 0; y < box.height; ++y) {
            const int* cut = &labels_[static_cast<size_t>(y + y0) * cols_ + x0];
            const uchar* o = object_.ptr<uchar>(y + y0) + x0;
            uchar* r = result.ptr<uchar>(box.y + y) + box.x;
            for (int x = 0; x < box.width; ++x)
                if (o[x] && cut[x] == kLine)
                    r[x] = 0;
        }
    }

private:
    void CheckCancel() const
    {
        if (cancel_ && cancel_->load(std::memory_order_relaxed))
            throw Cancelled();
    }

    // Seeds and flood over the non-zero pixels of @p mask (the padded box).
    // Returns the number of seeds; labels_ holds the pieces when there are two
    // or more.
    int Separate(const cv::Mat& mask)
    {
        rows_ = mask.rows;
        cols_ = mask.cols;
        const int n = rows_ * cols_;
        const int top = SquaredDistances(mask);

        // Squared distances are whole numbers: a counting sort orders the
        // pixels from the highest distance down, ties in raster order.
        start_.assign(static_cast<size_t>(top) + 2, 0);
        for (int i = 0; i < n; ++i)
            if (key_[i] >= 0)
                ++start_[top - key_[i] + 1];
        for (size_t k = 1; k < start_.size(); ++k)
            start_[k] += start_[k - 1];
        const int pixels = start_.back();
        order_.resize(pixels);
        for (int i = 0; i < n; ++i)
            if (key_[i] >= 0)
                order_[start_[top - key_[i]]++] = i;

        FindSeeds(pixels);
        if (n > kLargeBox) {
            // The order is not needed any more; a large box gives its memory
            // back before the flood takes its own.
            std::vector<int>().swap(order_);
        }
        if (seeds_.size() > 1)
            Flood(top);
        if (n > kLargeBox) {
            std::vector<std::vector<int>>().swap(levels_);
            std::vector<int>().swap(key_); // what follows needs the pieces only
        }
        return static_cast<int>(seeds_.size());
    }

    // key_ = squared Euclidean distance to the nearest zero pixel of @p mask
    // (exact), -1 on zero pixels. Vertical distances first, then the lower
    // envelope of parabolas along each row (Felzenszwalb and Huttenlocher,
    // "Distance Transforms of Sampled Functions", 2012). The frame of @p mask
    // is zero, so every column and row holds a zero pixel. Returns the
    // largest value.
    int SquaredDistances(const cv::Mat& mask)
    {
        key_.resize(static_cast<size_t>(rows_) * cols_);
        run_.assign(cols_, 0);
        for (int y = 0; y < rows_; ++y) {
            const uchar* m = mask.ptr<uchar>(y);
            int* k = &key_[static_cast<size_t>(y) * cols_];
            for (int x = 0; x < cols_; ++x) {
                run_[x] = m[x] ? run_[x] + 1 : 0;
                k[x] = run_[x];
            }
        }
        run_.assign(cols_, 0);
        for (int y = rows_ - 1; y >= 0; --y) {
            const uchar* m = mask.ptr<uchar>(y);
            int* k = &key_[static_cast<size_t>(y) * cols_];
            for (int x = 0; x < cols_; ++x) {
                run_[x] = m[x] ? run_[x] + 1 : 0;
                const long long d = std::min(k[x], run_[x]);
                k[x] = static_cast<int>(d * d);
            }
        }
        // Along the rows: d(x) = min over x' of f(x') + (x - x')^2.
        envelope_.resize(cols_);
        bounds_.resize(cols_ + 1);
        row_.resize(cols_);
        int top = 0;
        for (int y = 0; y < rows_; ++y) {
            int* k = &key_[static_cast<size_t>(y) * cols_];
            std::copy(k, k + cols_, row_.begin());
            auto cross = [&](int q, int v) {
                const double fq = static_cast<double>(row_[q]) + static_cast<double>(q) * q;
                const double fv = static_cast<double>(row_[v]) + static_cast<double>(v) * v;
                return (fq - fv) / (2.0 * (q - v));
            };
            int last = 0;
            envelope_[0] = 0;
            bounds_[0] = -std::numeric_limits<double>::infinity();
            bounds_[1] = std::numeric_limits<double>::infinity();
            for (int q = 1; q < cols_; ++q) {
                double at = cross(q, envelope_[last]);
                while (at <= bounds_[last]) {
                    --last;
                    at = cross(q, envelope_[last]);
                }
                ++last;
                envelope_[last] = q;
                bounds_[last] = at;
                bounds_[last + 1] = std::numeric_limits<double>::infinity();
            }
            const uchar* m = mask.ptr<uchar>(y);
            int j = 0;
            for (int x = 0; x < cols_; ++x) {
                while (bounds_[j + 1] < x)
                    ++j;
                if (!m[x]) {
                    k[x] = -1;
                    continue;
                }
                const long long dx = x - envelope_[j];
                k[x] = static_cast<int>(dx * dx + row_[envelope_[j]]);
                top = std::max(top, k[x]);
            }
        }
        return top;
    }

    int Find(int p)
    {
        while (labels_[p] != p) {
            labels_[p] = labels_[labels_[p]];
            p = labels_[p];
        }
        return p;
    }

    // Union-find over labels_, from the highest distance down. The root of
    // every region is its peak, the region's first pixel in the order.
    void FindSeeds(int pixels)
    {
        const int n = rows_ * cols_;
        const int offsets[8] = {-cols_ - 1, -cols_, -cols_ + 1, -1, 1, cols_ - 1, cols_, cols_ + 1};
        labels_.assign(n, -1);
        seeds_.clear();
        for (int j = 0; j < pixels; ++j) {
            const int p = order_[j];
            labels_[p] = p;
            for (int o : offsets) {
                const int q = p + o; // the padding keeps q inside the box
                if (labels_[q] < 0)
                    continue;
                const int a = Find(q);
                const int b = Find(p);
                if (a == b)
                    continue;
                // Of two equal peaks the one earlier in raster order came first.
                const bool aHigher = key_[a] > key_[b] || (key_[a] == key_[b] && a < b);
                const int high = aHigher ? a : b;
                const int low = aHigher ? b : a;
                // Most meetings are of a new pixel with a region: no rise.
                if (key_[low] > key_[p]) {
                    const double saddle = std::sqrt(static_cast<double>(key_[p]));
                    const double rise = std::sqrt(static_cast<double>(key_[low])) - saddle;
                    const double standOut = rise / (saddle + kHeightOffset);
                    if (standOut >= relativeHeight_)
                        seeds_.push_back({low, static_cast<float>(standOut)});
                }
                labels_[low] = high;
            }
        }
        for (int j = 0; j < pixels; ++j) {
            const int p = order_[j];
            if (labels_[p] == p)
                seeds_.push_back({p, std::numeric_limits<float>::infinity()});
        }
    }

    // Flood from the seeds over labels_: highest distance first, first in
    // first out on one level (a queue per level).
    void Flood(int top)
    {
        const int n = rows_ * cols_;
        const int offsets[8] = {-cols_ - 1, -cols_, -cols_ + 1, -1, 1, cols_ - 1, cols_, cols_ + 1};
        // Background is marked in labels_ itself, so that looking at a
        // neighbour touches one array only.
        for (int i = 0; i < n; ++i)
            labels_[i] = key_[i] < 0 ? kBackground : 0;
        levels_.resize(static_cast<size_t>(top) + 1);
        heads_.assign(static_cast<size_t>(top) + 1, 0);
        sorted_.assign(static_cast<size_t>(top) + 1, 0);
        int current = -1;
        auto pushNeighbours = [&](int p) {
            for (int o : offsets) {
                const int q = p + o; // the padding keeps q inside the box
                if (labels_[q] != 0)
                    continue;
                labels_[q] = kQueued;
                levels_[key_[q]].push_back(q);
                current = std::max(current, key_[q]);
            }
        };
        pieceStandOut_.assign(1, 0.f);
        for (const Seed& seed : seeds_) {
            labels_[seed.pixel] = static_cast<int>(pieceStandOut_.size());
            pieceStandOut_.push_back(seed.standOut);
        }
        for (const Seed& seed : seeds_)
            pushNeighbours(seed.pixel);

        int steps = 0;
        while (current >= 0) {
            std::vector<int>& level = levels_[current];
            if (heads_[current] == level.size()) {
                level.clear();
                heads_[current] = 0;
                sorted_[current] = 0;
                --current;
                continue;
            }
            if (!sorted_[current]) {
                // What waits on a level when its turn comes goes in raster
                // order, which keeps the memory reads of a large box close
                // together; what joins later follows first in first out.
                std::sort(level.begin() + static_cast<std::ptrdiff_t>(heads_[current]),
                          level.end());
                sorted_[current] = 1;
            }
            const int p = level[heads_[current]++];
            if (++steps % kCancelStride == 0)
                CheckCancel();
            int found = 0;
            bool clash = false;
            for (int o : offsets) {
                const int r = labels_[p + o];
                if (r > 0 && found == 0)
                    found = r;
                else if (r > 0 && r != found)
                    clash = true;
            }
            // Every queued pixel has a labelled neighbour; a pixel that sees
            // two floods is where they meet.
            if (clash || found == 0) {
                labels_[p] = kLine;
                continue;
            }
            labels_[p] = found;
            pushNeighbours(p);
        }
    }

    int FindGroup(int g)
    {
        while (groups_[g] != g) {
            groups_[g] = groups_[groups_[g]];
            g = groups_[g];
        }
        return g;
    }

    // Cuts again, with their holes filled, the pieces around each hole of
    // object_ that lies inside one object: a hole with at most two pieces on
    // its rim, or with three of which one does not stand out firmly (the
    // jags of a thin rim around a nucleus can split it into three weak
    // pieces). Four or more pieces, or three firm ones, ring background
    // between objects. Pieces that share such holes are cut again together,
    // on their own: the cuts between them and the other pieces stay.
    void RecutAroundInnerHoles()
    {
        // Background reached from the padding frame through 4-neighbours.
        cv::Mat outside = object_.clone();
        cv::floodFill(outside, cv::Point(0, 0), cv::Scalar(128), nullptr, cv::Scalar(),
                      cv::Scalar(), 4);
        cv::Mat holes;
        const int count = cv::connectedComponents(outside == 0, holes, 4, CV_32S);
        if (count <= 1)
            return;
        struct Rim
        {
            std::array<int, 4> pieces{0, 0, 0, 0}; // the first four different ones
            float weakest = std::numeric_limits<float>::infinity();
        };
        std::vector<Rim> rims(count);
        const int offsets[8] = {-cols_ - 1, -cols_, -cols_ + 1, -1, 1, cols_ - 1, cols_, cols_ + 1};
        const int n = rows_ * cols_;
        const int* h = holes.ptr<int>();
        for (int p = 0; p < n; ++p) {
            if (h[p] == 0)
                continue;
            Rim& rim = rims[h[p]];
            for (int o : offsets) {
                const int r = labels_[p + o];
                if (r <= 0)
                    continue;
                rim.weakest = std::min(rim.weakest, pieceStandOut_[r]);
                for (int& seen : rim.pieces) {
                    if (seen == r)
                        break;
                    if (seen == 0) {
                        seen = r;
                        break;
                    }
                }
            }
        }
        // Groups of pieces that share inner holes; a group's root is its
        // smallest piece number.
        const double firm = kFirmRim * relativeHeight_;
        const int pieces = static_cast<int>(pieceStandOut_.size());
        groups_.resize(pieces);
        for (int g = 0; g < pieces; ++g)
            groups_[g] = g;
        std::vector<char> inner(count, 0), active(pieces, 0);
        bool any = false;
        for (int i = 1; i < count; ++i) {
            const Rim& rim = rims[i];
            const bool ring = rim.pieces[3] != 0 || (rim.pieces[2] != 0 && rim.weakest >= firm);
            if (ring || rim.pieces[0] == 0)
                continue;
            inner[i] = 1;
            any = true;
            for (int k = 1; k < 4 && rim.pieces[k] != 0; ++k) {
                const int a = FindGroup(rim.pieces[0]);
                const int b = FindGroup(rim.pieces[k]);
                groups_[std::max(a, b)] = std::min(a, b);
            }
        }
        if (!any)
            return;
        for (int i = 1; i < count; ++i)
            if (inner[i])
                active[FindGroup(rims[i].pieces[0])] = 1;

        // The group's own pixels: its pieces, its inner holes, and the cut
        // pixels that touch its pieces only.
        auto groupOf = [&](int p) -> int {
            if (labels_[p] > 0)
                return FindGroup(labels_[p]);
            if (h[p] != 0 && inner[h[p]])
                return FindGroup(rims[h[p]].pieces[0]);
            if (labels_[p] != kLine)
                return 0;
            int found = 0;
            for (int o : offsets) {
                const int r = labels_[p + o];
                if (r <= 0)
                    continue;
                const int g = FindGroup(r);
                if (found != 0 && g != found)
                    return 0;
                found = g;
            }
            return found;
        };
        // The box of every active group.
        std::vector<cv::Rect> boxes(pieces);
        for (int p = 0; p < n; ++p) {
            const int g = groupOf(p);
            if (g == 0 || !active[g])
                continue;
            const cv::Rect pixel(p % cols_, p / cols_, 1, 1);
            boxes[g] = boxes[g].empty() ? pixel : (boxes[g] | pixel);
        }
        for (int g = 1; g < pieces; ++g) {
            if (!active[g])
                continue;
            const cv::Rect box = boxes[g];
            cv::Mat mask = cv::Mat::zeros(box.height + 2, box.width + 2, CV_8UC1);
            for (int y = 0; y < box.height; ++y)
                for (int x = 0; x < box.width; ++x)
                    if (groupOf((box.y + y) * cols_ + box.x + x) == g)
                        mask.at<uchar>(y + 1, x + 1) = 255;
            ObjectCutter again(relativeHeight_, cancel_);
            const int seeds = again.Separate(mask);
            // The new pieces go back under new numbers; with one seed the
            // whole group takes the group's number.
            const int base = static_cast<int>(pieceStandOut_.size()) - 1;
            if (seeds > 1) {
                pieceStandOut_.insert(pieceStandOut_.end(), again.pieceStandOut_.begin() + 1,
                                      again.pieceStandOut_.end());
                // The new pieces are groups of their own, for the groups
                // still to come.
                while (groups_.size() < pieceStandOut_.size())
                    groups_.push_back(static_cast<int>(groups_.size()));
            }
            for (int y = 0; y < box.height; ++y) {
                for (int x = 0; x < box.width; ++x) {
                    const int p = (box.y + y) * cols_ + box.x + x;
                    if (!mask.at<uchar>(y + 1, x + 1) || !object_.data[p])
                        continue;
                    if (seeds <= 1) {
                        labels_[p] = g;
                        continue;
                    }
                    const int r = again.labels_[(y + 1) * (box.width + 2) + x + 1];
                    labels_[p] = r > 0 ? base + r : kLine;
                }
            }
        }
    }

    double relativeHeight_;
    const std::atomic<bool>* cancel_;
    int rows_ = 0, cols_ = 0;
    cv::Mat object_;
    std::vector<int> run_, envelope_, row_;
    std::vector<double> bounds_;
    struct Seed
    {
        int pixel;
        float standOut; // rise / (saddle + c); infinite for a region's highest peak
    };
    // key_: squared distances; labels_: union-find parents, then the flood's
    // labels (kLine, kQueued, 0 unreached, piece numbers from 1).
    std::vector<int> key_, start_, order_, labels_;
    std::vector<std::vector<int>> levels_;
    std::vector<size_t> heads_;
    std::vector<char> sorted_;
    std::vector<Seed> seeds_;
    std::vector<int> groups_;          // pieces that share inner holes
    std::vector<float> pieceStandOut_; // per piece: its seed's standOut
};

} // namespace

int AlgDistanceCut(cv::Mat in, cv::Mat& out, const AlgDistanceCutOptions& options)
{
    if (!in.data || in.total() == 0)
        return 1;
    if (in.type() != CV_8UC1)
        return 2;
    if (!std::isfinite(options.sensitivity) || options.sensitivity <= 0.0)
        return 3;
    const std::atomic<bool>* cancel = options.cancel;
    auto cancelled = [cancel] { return cancel && cancel->load(std::memory_order_relaxed); };
    if (cancelled())
        return 4;

    cv::Mat labels, stats, centres;
    const int count = cv::connectedComponentsWithStats(in, labels, stats, centres, 8, CV_32S);
    cv::Mat result = in.clone();

    // Batches of about equal pixel counts, in label order.
    std::vector<int> objects;
    objects.reserve(count > 0 ? count - 1 : 0);
    double total = 0.0;
    for (int id = 1; id < count; ++id) {
        objects.push_back(id);
        total += stats.at<int>(id, cv::CC_STAT_AREA);
    }
    const double relativeHeight = kRelativeHeight / options.sensitivity;
    double done = 0.0;
    size_t next = 0;
    if (options.progress)
        options.progress(0.0);
    while (next < objects.size()) {
        size_t end = next;
        double batch = 0.0;
        while (end < objects.size() && (batch < total / kBatches || end == next)) {
            batch += stats.at<int>(objects[end], cv::CC_STAT_AREA);
            ++end;
        }
        // Objects own disjoint pixels of result, so workers need no lock.
        std::atomic<bool> stopped{false};
        cv::parallel_for_(
            cv::Range(static_cast<int>(next), static_cast<int>(end)),
            [&](const cv::Range& range) {
                ObjectCutter cutter(relativeHeight, cancel);
                try {
                    for (int i = range.start; i < range.end && !stopped; ++i) {
                        const int id = objects[i];
                        const cv::Rect box(stats.at<int>(id, cv::CC_STAT_LEFT),
                                           stats.at<int>(id, cv::CC_STAT_TOP),
                                           stats.at<int>(id, cv::CC_STAT_WIDTH),
                                           stats.at<int>(id, cv::CC_STAT_HEIGHT));
                        cutter.Cut(labels, id, box, result);
                        if (cancelled())
                            stopped = true;
                    }
                } catch (const Cancelled&) {
                    stopped = true;
                }
            },
            std::min(8.0, static_cast<double>(end - next)));
        if (stopped || cancelled())
            return 4;
        done += batch;
        next = end;
        if (options.progress)
            options.progress(total > 0.0 ? done / total : 1.0);
    }
    out = result;
    return 0;
}
