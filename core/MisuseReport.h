// Internal (not installed): how the checked build reports a misuse.
//
// The checked build (configured with -DZARNCRT_CHECKED=ON) compiles checks of
// the libraries' ownership rules into both libraries; the normal build
// compiles none of them. Code that checks is written inside
//   #ifdef ZARNCRT_CHECKED ... #endif
// so that the normal build does not even see it.
//
// A misuse is reported as one line on standard error,
//   zarncrt checked: <what was misused>: <which call, which object>
// followed by the caller's backtrace, and the process aborts. With
// ZARNCRT_CHECKED=report in the environment the process goes on instead, and
// the number of misuses is printed when it exits.
#ifndef ZARNCRT_CORE_MISUSEREPORT_H
#define ZARNCRT_CORE_MISUSEREPORT_H

namespace zarn {
namespace misuse {

// Reports one misuse. `what` names the rule that was broken ("key deleted
// while a tree holds it"); the printf-style rest names the call and the
// objects ("~BPlusKey() on key 0x..., held by the tree of root 0x...").
// Returns only in report mode. Thread-safe; never allocates from the heap,
// so it may be called with the heap in any state.
__attribute__((format(printf, 2, 3))) void report(const char* what, const char* detailFormat, ...);

// How many misuses this library has reported so far (report mode goes on
// after each one). Used by the summary at exit and by tests.
long reportedCount();

// Runs `drain` once at process exit, before the summary line: the
// quarantine uses it to check and release the blocks it still holds.
// Hooks run in the reverse order of registration.
void atExit(void (*drain)());

}  // namespace misuse
}  // namespace zarn

#endif
