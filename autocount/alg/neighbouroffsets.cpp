#include "autocount/alg/alg.h"

// Row and column steps to the eight neighbours, in the order the cut's boundary
// clearing looks at them: the row below, the same row, then the row above.
const int x_offset[8] = {1, 1, 1, 0, 0, -1, -1, -1};
const int y_offset[8] = {-1, 0, 1, -1, 1, -1, 0, 1};
// The four axis neighbours in the same convention. Kept as part of the module's
// tables although no operation uses them.
const int x_offset_4[4] = {-1, 0, 0, 1};
const int y_offset_4[4] = {0, -1, 1, 0};
