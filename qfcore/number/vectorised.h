/// Marks a function whose loops are compiled once for each instruction set; the loader chooses when the library
/// starts. Baseline code is up to twenty times slower. Sanitizers cannot run before the choice is made, and
/// other compilers do not clone templates: there the baseline serves, with the same bits.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define QFCORE_VECTORISED [[gnu::target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")]]
#else
#define QFCORE_VECTORISED
#endif
