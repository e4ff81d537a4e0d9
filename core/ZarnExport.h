/// \file
/// Symbol visibility for both zarncrt libraries.
///
/// Both libraries are compiled with hidden visibility by default; only what is
/// marked with ZARNCRT_EXPORT becomes part of the shared object's interface.
/// Macros only: nothing is allocated, owned or shared.
#ifndef ZARNCRT_CORE_ZARNEXPORT_H
#define ZARNCRT_CORE_ZARNEXPORT_H

/// \def ZARNCRT_EXPORT
/// Makes a class or function part of the shared object's interface.
/// \def ZARNCRT_HIDDEN
/// Keeps an internal member of an exported class out of the interface.
#if defined(__GNUC__) || defined(__clang__)
#define ZARNCRT_EXPORT __attribute__((visibility("default")))
#define ZARNCRT_HIDDEN __attribute__((visibility("hidden")))
#else
#define ZARNCRT_EXPORT
#define ZARNCRT_HIDDEN
#endif

#endif
