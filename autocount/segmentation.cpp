#include "autocount/autocountmanager.h"

// Histogram and thresholding: to be implemented.
void AutoCountManager::GetHistogramData(int channel, int*)
{
    histogramChannel = channel;
}
void AutoCountManager::SetSegmentMode(int mode)
{
    segmentMode = mode;
}
void AutoCountManager::ImageSegment() {}
void AutoCountManager::GetThreshold(int& low, int& high)
{
    low = lowThresh;
    high = highThresh;
}
void AutoCountManager::SetLowThreshold(int value)
{
    lowThresh = value;
}
void AutoCountManager::SetHighThreshold(int value)
{
    highThresh = value;
}
