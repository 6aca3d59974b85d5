/// What the number core can report.
#pragma once

#include "qfcore/number/errors.h"

namespace embedded::message {

inline constexpr Message outOfMemory{"numforge:fi:outofmemory", "Not enough memory to allocate new fi object."};
inline constexpr Message bitsetOutOfRange{"numforge:fi:bitset:BITOutOfRange",
                                          "A bit position is not an integer in the appropriate range."};
inline constexpr Message bitgetOutOfRange{"numforge:fi:bitget:BITOutOfRange",
                                          "A bit position is not an integer in the appropriate range."};

// A bit operation in the form that does not belong to its body: a fault in the module, not in its use.

/// On a double body. The text of fibitand names the other body; users know it so.
namespace doublebody {
inline constexpr Message bitset{"numforge:fi:doublenumber:bitset:mpnumberparameters",
                                "doublenumber::bitset has been called with mpnumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message bitget{"numforge:fi:doublenumber:bitget:mpnumberparameters",
                                "doublenumber::bitget has been called with mpnumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message bitxor{"numforge:fi:doublenumber:bitxor:mpnumberparameters",
                                "doublenumber::bitxor has been called with mpnumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message fibitor{"numforge:fi:doublenumber:fibitor:mpnumberparameters",
                                 "doublenumber::fibitor has been called with mpnumber parameters. "
                                 "Please report this problem to Numforge technical support."};
inline constexpr Message fibitand{"numforge:fi:doublenumber:fibitand:mpnumberparameters",
                                  "mpnumber::fibitand has been called with mpnumber parameters. "
                                  "Please report this problem to Numforge technical support."};
inline constexpr Message bitcmp{"numforge:fi:doublenumber:bitcmp:mpnumberparameters",
                                "doublenumber::bitcmp has been called with mpnumber parameters. "
                                "Please report this problem to Numforge technical support."};
}  // namespace doublebody

/// On a multiprecision body.
namespace mpbody {
inline constexpr Message bitset{"numforge:fi:mpnumber:bitset:doublenumberparameter",
                                "mpnumber::bitset has been called with doublenumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message bitget{"numforge:fi:mpnumber:bitget:doublenumberparameter",
                                "mpnumber::bitget has been called with doublenumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message bitxor{"numforge:fi:mpnumber:bitxor:doublenumberparameter",
                                "mpnumber::bitxor has been called with doublenumber parameters. "
                                "Please report this problem to Numforge technical support."};
inline constexpr Message fibitor{"numforge:fi:mpnumber:fibitor:doublenumberparameter",
                                 "mpnumber::fibitor has been called with doublenumber parameters. "
                                 "Please report this problem to Numforge technical support."};
inline constexpr Message fibitand{"numforge:fi:mpnumber:fibitand:doublenumberparameter",
                                  "mpnumber::fibitand has been called with doublenumber parameters. "
                                  "Please report this problem to Numforge technical support."};
inline constexpr Message bitcmp{"numforge:fi:mpnumber:bitcmp:doublenumberparameter",
                                "mpnumber::bitcmp has been called with doublenumber parameters. "
                                "Please report this problem to Numforge technical support."};
}  // namespace mpbody

}  // namespace embedded::message
