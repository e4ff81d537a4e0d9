// Internal (not installed): lock-free reads and writes of logger fields.
//
// A logger's threshold, date flag and stream are changed by one thread while
// others read them without the logger's mutex (the threshold test of every
// report, the no-stream test of every record). Accessing them as relaxed
// atomics keeps those reads race-free without changing the fields' types or
// the classes' layout; on x86-64 they compile to plain loads and stores.
#ifndef ZARNCRT_LOG_RELAXEDACCESS_H
#define ZARNCRT_LOG_RELAXEDACCESS_H

namespace zarn {

template <typename T>
inline T loadRelaxed(T const& field)
{
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

template <typename T>
inline void storeRelaxed(T& field, T value)
{
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

}  // namespace zarn

#endif
