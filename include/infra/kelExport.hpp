#pragma once

#include <cstddef>

/// Public classes contain containers of the C++ library. Two settings of libstdc++ change the size of these
/// containers, so a program that is compiled with such a setting and the library would disagree on where
/// members are. KELINFRA_CHECKED_CONTAINERS is defined where the library was built with checked containers.
#if defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#error "KELINFRA is built for the C++11 ABI of libstdc++: compile without -D_GLIBCXX_USE_CXX11_ABI=0"
#endif
#if defined(_GLIBCXX_DEBUG) && !defined(KELINFRA_CHECKED_CONTAINERS)
#error "KELINFRA is built without checked containers: use -D_GLIBCXX_ASSERTIONS and not -D_GLIBCXX_DEBUG"
#endif
#if !defined(_GLIBCXX_DEBUG) && defined(KELINFRA_CHECKED_CONTAINERS)
#error "KELINFRA is built with checked containers: compile with -D_GLIBCXX_DEBUG"
#endif

/// KELINFRA_API marks what the shared library exports. Everything else stays inside it.
/// KELINFRA_LOCAL removes a private member of an exported class from the exports. Windows exports whole
/// classes.
/// KELINFRA_STATIC is defined where the library is an archive, and where its objects are linked directly.
#if defined(_WIN32)
#if defined(KELINFRA_STATIC)
#define KELINFRA_API
#elif defined(KELINFRA_BUILDING)
#define KELINFRA_API __declspec(dllexport)
#else
#define KELINFRA_API __declspec(dllimport)
#endif
#define KELINFRA_LOCAL
#else
#define KELINFRA_API __attribute__((visibility("default")))
#define KELINFRA_LOCAL __attribute__((visibility("hidden")))
#endif

/// KELINFRA_NOINLINE keeps a function out of its callers, where inlining would make the common path slower.
#if defined(_MSC_VER)
#define KELINFRA_NOINLINE __declspec(noinline)
#else
#define KELINFRA_NOINLINE [[gnu::noinline]]
#endif

/// KELINFRA_LIFETIMEBOUND after a parameter means that the result refers to the argument; after a member
/// function it means that the result refers to the object. Clang then warns if the program keeps such a
/// result of a temporary argument or object. For other compilers the macro is empty.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::lifetimebound)
#define KELINFRA_LIFETIMEBOUND [[clang::lifetimebound]]
#endif
#endif
#if !defined(KELINFRA_LIFETIMEBOUND)
#define KELINFRA_LIFETIMEBOUND
#endif
