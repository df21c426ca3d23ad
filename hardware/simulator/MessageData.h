// What the messages of synthetic buses carry: counters, signals that change slowly, sums.
#pragma once

#include <cstddef>
#include <span>

#include "Random.h"

namespace qor_sim {

/// Changes a little-endian signal of 16 bits by at most 8, every other time not at all; it stays within its range.
void WalkSignal(std::span<unsigned char, 2> signal, Random& random);

/// The signals that fit into `data`, side by side.
void WalkSignals(std::span<unsigned char> data, Random& random);

/// A cyclic message goes on: a running counter in the low half of its first byte, signals in the bytes up to the 16th, a
/// sum in the last byte.
void UpdateCyclicData(std::span<unsigned char> data, unsigned int counter, Random& random);

/// An event has different data every time; its first byte counts the events.
void FillEventData(std::span<unsigned char> data, unsigned int counter, Random& random);

void FillRandomly(std::span<unsigned char> data, Random& random);

}  // namespace qor_sim
