#pragma once

// Shared inside the module: the catalogue sets up the ranges it creates
// with the same defaults the controller restores.

/// Puts every range record of AutoCountManager::dataRangeList back to its
/// default: area, roundness and both axes enabled over [0, 10000000],
/// direction disabled over [-1000, 1000], the rest disabled over [0, 10000000].
void ApplyDefaultDataRanges();
