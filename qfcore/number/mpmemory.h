/// Where GMP and MPFR get memory while the process has none left.
#pragma once

namespace embedded {

/// The libraries end the process when the memory for a step of a calculation cannot be had, and no exception
/// may pass through them. While this lives, such blocks come from a reserve instead: the step is completed, and
/// what reports the lack of memory is the next allocation of the module's own.
///
/// The reserve holds what steps of the longest words need, on several threads at once. Values that stay must
/// not lie in it: floats have limbs of the module's own, scratch integers give theirs back as soon as they are
/// dropped.
///
/// How the libraries allocate is a setting of the whole process. Where somebody has set functions of his own
/// they stay, and what they do counts. Otherwise the functions set here allocate as the libraries do by
/// themselves, so that blocks made before, or freed after, are nobody's concern.
class MpReserve {
 public:
  MpReserve();
  MpReserve(const MpReserve&) = delete;
  MpReserve& operator=(const MpReserve&) = delete;
  ~MpReserve();
  /// Whether blocks of the reserve are in use.
  static bool isInUse();
};

}  // namespace embedded
