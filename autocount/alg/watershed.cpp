// Seeded flooding by immersion (L. Vincent and P. Soille, "Watersheds in digital
// spaces: an efficient algorithm based on immersion simulations", 1991), in the
// module's own form: every seed region keeps its own 256 level queues, the
// regions take turns in label order, and no watershed line is drawn.

#include "autocount/alg/alg.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

constexpr uchar kSeedPixel = 1;     // value that marks a seed pixel
constexpr uchar kSeedVisited = 127; // written into every labelled seed pixel
constexpr int kLevelCount = 256;
// The flood stops when it gets to this level: pixels at 255 that were reached
// from below keep their label, but the flood never spreads onward from them.
constexpr int kStopLevel = 255;

// FIFO queues of pixel positions threaded through one pool of nodes. A node
// goes back to a free list when it is taken, so the pool holds only the
// current flooding front, never the whole image.
class QueuePool
{
public:
    int NewQueue()
    {
        queues_.push_back(Queue{});
        return static_cast<int>(queues_.size()) - 1;
    }

    int Size(int q) const { return queues_[q].size; }

    void Push(int q, int32_t pos)
    {
        int32_t node;
        if (free_ >= 0) {
            node = free_;
            free_ = nodes_[node].next;
            nodes_[node] = Node{pos, -1};
        } else {
            node = static_cast<int32_t>(nodes_.size());
            nodes_.push_back(Node{pos, -1});
        }
        Queue& queue = queues_[q];
        if (queue.tail >= 0)
            nodes_[queue.tail].next = node;
        else
            queue.head = node;
        queue.tail = node;
        ++queue.size;
    }

    int32_t Pop(int q)
    {
        Queue& queue = queues_[q];
        const int32_t node = queue.head;
        const int32_t pos = nodes_[node].pos;
        queue.head = nodes_[node].next;
        if (queue.head < 0)
            queue.tail = -1;
        --queue.size;
        nodes_[node].next = free_;
        free_ = node;
        return pos;
    }

private:
    struct Node
    {
        int32_t pos;
        int32_t next;
    };
    struct Queue
    {
        int32_t head = -1;
        int32_t tail = -1;
        int32_t size = 0;
    };
    std::vector<Node> nodes_;
    std::vector<Queue> queues_;
    int32_t free_ = -1;
};

// One seed region: its label and the level queues it has used so far, sorted
// by level. Queues are made on first use, so a region costs memory only for
// the levels its flood actually touches.
struct Region
{
    uchar label = 0;
    std::vector<std::pair<int, int>> queues; // (level, queue id)
};

// Label state of the flood: the queues of every region and, per level, the
// regions that have a queue at that level.
class Flood
{
public:
    Flood() : pending_(kLevelCount), stamp_(kLevelCount, 0), cached_(kLevelCount, -1) {}

    int AddRegion(uchar label)
    {
        regions_.push_back(Region{label, {}});
        return static_cast<int>(regions_.size()) - 1;
    }

    // Appends @p pos to @p region's queue at @p level. The counter of that
    // level is the queue's size: it only ever grows here, and a pass takes
    // exactly the entries that were queued when the region's turn began.
    void Push(int region, int level, int32_t pos) { pool_.Push(QueueOf(region, level), pos); }

    // Floods levels 0 .. 254 over @p relief into @p labels (both continuous,
    // @p cols wide).
    void Run(const uchar* relief, uchar* labels, int rows, int cols)
    {
        for (int level = 0; level < kStopLevel; ++level) {
            std::vector<std::pair<int, int>>& active = pending_[level];
            // Regions take their turns in label order.
            std::sort(active.begin(), active.end());
            while (!active.empty()) {
                size_t kept = 0;
                for (const std::pair<int, int>& entry : active) {
                    FloodBatch(entry.first, entry.second, level, relief, labels, rows, cols);
                    if (pool_.Size(entry.second) > 0)
                        active[kept++] = entry;
                }
                active.resize(kept);
            }
            std::vector<std::pair<int, int>>().swap(active);
        }
    }

private:
    int QueueOf(int region, int level)
    {
        if (stamp_[level] == turn_ && currentRegion_ == region)
            return cached_[level];
        std::vector<std::pair<int, int>>& queues = regions_[region].queues;
        auto it = std::lower_bound(queues.begin(), queues.end(), std::make_pair(level, -1));
        int q;
        if (it != queues.end() && it->first == level) {
            q = it->second;
        } else {
            q = pool_.NewQueue();
            queues.insert(it, std::make_pair(level, q));
            pending_[level].emplace_back(region, q);
        }
        if (currentRegion_ == region) {
            stamp_[level] = turn_;
            cached_[level] = q;
        }
        return q;
    }

    // One turn of @p region at @p level: takes the batch of entries that its
    // queue held when the turn began and labels their unlabelled 4-neighbours,
    // in the order above, below, right, left.
    void FloodBatch(int region, int queue, int level, const uchar* relief, uchar* labels, int rows,
                    int cols)
    {
        ++turn_;
        currentRegion_ = region;
        stamp_[level] = turn_;
        cached_[level] = queue;
        const uchar label = regions_[region].label;

        auto claim = [&](int32_t pos) {
            if (labels[pos] != 0)
                return; // the first region to reach a pixel keeps it
            labels[pos] = label;
            const int g = relief[pos];
            // Pixels at or below the current level join this level's queue.
            pool_.Push(g > level ? QueueOf(region, g) : queue, pos);
        };

        for (int batch = pool_.Size(queue); batch > 0; --batch) {
            const int32_t pos = pool_.Pop(queue);
            const int r = pos / cols;
            const int c = pos - r * cols;
            if (r > 0)
                claim(pos - cols);
            if (r < rows - 1)
                claim(pos + cols);
            if (c < cols - 1)
                claim(pos + 1);
            if (c > 0)
                claim(pos - 1);
        }
        currentRegion_ = -1;
    }

    QueuePool pool_;
    std::vector<Region> regions_;
    std::vector<std::vector<std::pair<int, int>>> pending_; // per level: (region, queue id)
    std::vector<uint64_t> stamp_; // turn in which cached_[level] was looked up
    std::vector<int> cached_;
    uint64_t turn_ = 0;
    int currentRegion_ = -1;
};

} // namespace

void AlgWatershed(cv::Mat relief, cv::Mat seeds, cv::Mat& labels)
{
    const int rows = relief.rows;
    const int cols = relief.cols;
    if (!relief.isContinuous())
        relief = relief.clone();
    cv::Mat lab = cv::Mat::zeros(rows, cols, CV_8UC1);
    const uchar* reliefData = relief.ptr<uchar>();
    uchar* labelData = lab.ptr<uchar>();

    Flood flood;

    // Seed labelling: 8-connected seed regions in raster order of discovery.
    // The label is stored in 8 bits, so the 256th region gets 0 and looks
    // unclaimed to the flood. Such a region floods nothing: whatever it
    // labelled would still read 0, and followed step by step it would claim
    // its own pixels again and again.
    int regionCount = 0;
    std::vector<int32_t> walk;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            if (seeds.ptr<uchar>(r)[c] != kSeedPixel)
                continue;
            ++regionCount;
            const uchar label = static_cast<uchar>(regionCount % 256);
            const int region = label != 0 ? flood.AddRegion(label) : -1;

            labelData[r * cols + c] = label;
            seeds.ptr<uchar>(r)[c] = kSeedVisited;
            walk.assign(1, r * cols + c);
            for (size_t head = 0; head < walk.size(); ++head) {
                const int32_t pos = walk[head];
                const int pr = pos / cols;
                const int pc = pos - pr * cols;
                bool onEdge = false;
                for (int dr = -1; dr <= 1; ++dr) {
                    const int nr = pr + dr;
                    if (nr < 0 || nr >= rows)
                        continue;
                    uchar* seedRow = seeds.ptr<uchar>(nr);
                    for (int dc = -1; dc <= 1; ++dc) {
                        const int nc = pc + dc;
                        if ((dr == 0 && dc == 0) || nc < 0 || nc >= cols)
                            continue;
                        if (seedRow[nc] == kSeedPixel) {
                            labelData[nr * cols + nc] = label;
                            seedRow[nc] = kSeedVisited;
                            walk.push_back(nr * cols + nc);
                        } else {
                            onEdge = true;
                        }
                    }
                }
                if (onEdge && region >= 0)
                    flood.Push(region, reliefData[pos], pos);
            }
        }
    }

    flood.Run(reliefData, labelData, rows, cols);
    labels = lab;
}
