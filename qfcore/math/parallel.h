/// Long loops over elements, shared among threads. Nothing that is computed, counted or recorded depends on how
/// many there are.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "qfcore/math/quantizer.h"

namespace embedded {

/// How many threads share a long loop, the caller's among them: at first what the environment variable
/// QFCORE_THREADS says, or else as many as the process has processors. With 1 none are started. A process that
/// another one has forked has its own alone, whatever is set.
QFCORE_API unsigned threadCount();
inline constexpr unsigned kMaxThreads = 1024;
/// From the next long loop on. `count` is from 1 to `kMaxThreads`.
QFCORE_API void setThreadCount(unsigned count);

/// Elements that are worth a thread's while: of doubles, of long words in native integers or of text, and of
/// multiprecision values.
inline constexpr std::size_t kSharedDoubles = 16384, kSharedIntegers = 4096, kSharedWide = 512;

/// Shares every loop that has two elements, however short: for tests.
QFCORE_API void setSharingShortLoops(bool on);

namespace detail {

extern QFCORE_API bool sharesShortLoops;
/// So many pieces that all threads have work until the end; 1 where the loop runs within another.
QFCORE_API std::size_t piecesOfLong(std::size_t count, std::size_t worthwhile);
inline std::size_t pieceCount(std::size_t count, std::size_t worthwhile) {
  return count < 2 * worthwhile && !sharesShortLoops ? 1 : piecesOfLong(count, worthwhile);
}
/// Calls `work(piece)` for each, on all threads. Waits for all; of their exceptions that of the first piece is
/// thrown again, as if the pieces had run one after the other.
QFCORE_API void runPieces(std::size_t count, const std::function<void(std::size_t piece)>& work);

}  // namespace detail

/// Calls `work(piece, first, size)` for ranges that together are 0 … count, each on one thread. A range begins
/// at a multiple of `unit`.
template <class Work>
void shareRanges(std::size_t count, std::size_t pieces, std::size_t unit, Work work) {
  if (pieces <= 1) return work(std::size_t{0}, std::size_t{0}, count);
  const std::size_t units = (count + unit - 1) / unit, size = (units + pieces - 1) / pieces * unit;
  detail::runPieces(pieces, [&](std::size_t piece) {
    const std::size_t first = std::min(piece * size, count);
    if (first < count) work(piece, first, std::min(size, count - first));
  });
}

/// `work(first, size)` for ranges, where nothing is quantized.
template <class Work>
void shareLoop(std::size_t count, std::size_t worthwhile, Work work, std::size_t unit = 1) {
  shareRanges(count, detail::pieceCount(count, worthwhile), unit,
              [&](std::size_t, std::size_t first, std::size_t size) { work(first, size); });
}

/// `work(first, size, quantizers)` for ranges: while logging is on each gets quantizers of its own, whose
/// records then join those of `quantizers`, in the order of the ranges.
template <std::size_t N, class Work>
void shareLoop(std::size_t count, std::size_t worthwhile, const std::array<const quantizer*, N>& quantizers,
               Work work, std::size_t unit = 1) {
  const std::size_t pieces = detail::pieceCount(count, worthwhile);
  if (pieces <= 1) return work(std::size_t{0}, count, quantizers);
  const bool isLogging = std::any_of(quantizers.begin(), quantizers.end(),
                                     [](const quantizer* each) { return each->logger().isOn(); });
  std::vector<std::array<quantizer, N>> own;
  for (std::size_t piece = 0; isLogging && piece < pieces; ++piece) {
    [&]<std::size_t... I>(std::index_sequence<I...>) { own.push_back({quantizer(*quantizers[I], false)...}); }
    (std::make_index_sequence<N>());
  }
  shareRanges(count, pieces, unit, [&](std::size_t piece, std::size_t first, std::size_t size) {
    std::array<const quantizer*, N> used = quantizers;
    for (std::size_t i = 0; isLogging && i < N; ++i) used[i] = &own[piece][i];
    work(first, size, used);
  });
  for (const std::array<quantizer, N>& each : own) {
    for (std::size_t i = 0; i < N; ++i) quantizers[i]->logger().merge(each[i].logger());
  }
}

}  // namespace embedded
