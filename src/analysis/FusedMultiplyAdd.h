#pragma once

// Runs a filter's loop in a function compiled for fused multiply-adds where
// the processor has them, and as plain code elsewhere. The compiler then
// contracts a·b + c into one instruction with one rounding: the loop's
// results may differ in their last bit between the two kinds of processor,
// but on one processor every caller gets the same. `body` is a lambda marked
// always_inline, so that it is compiled inside each of the two.

namespace FusedMultiplyAdd {

bool available();

#if defined(__x86_64__)
template <typename Body> [[gnu::target("fma")]] void runFused(Body& body) { body(); }

template <typename Body> void run(Body&& body) {
    if (available())
        runFused(body);
    else
        body();
}
#else
template <typename Body> void run(Body&& body) { body(); }
#endif

} // namespace FusedMultiplyAdd
