#pragma once

#include <cstddef>

// The headers need C++17. Without the check below, the errors of the compiler in an older standard do not
// name this cause. Microsoft's compiler defines the number of the standard in _MSVC_LANG.
#if __cplusplus < 201703L && (!defined(_MSVC_LANG) || _MSVC_LANG < 201703L)
#error "KELINFRA needs C++17 or C++20: compile with -std=c++17"
#endif

/// Public classes contain containers of the C++ standard library. Two settings of libstdc++, the old ABI and
/// checked containers, change the size of the containers of the standard library. If a program and the
/// library were compiled with different settings, they would disagree on the offsets of members. The checks
/// below report different settings as a compile error. KELINFRA_CHECKED_CONTAINERS is defined if the library
/// was built with checked containers.
#if defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#error "KELINFRA is built for the C++11 ABI of libstdc++: compile without -D_GLIBCXX_USE_CXX11_ABI=0"
#endif
#if defined(_GLIBCXX_DEBUG) && !defined(KELINFRA_CHECKED_CONTAINERS)
#error "KELINFRA is built without checked containers: use -D_GLIBCXX_ASSERTIONS and not -D_GLIBCXX_DEBUG"
#endif
#if !defined(_GLIBCXX_DEBUG) && defined(KELINFRA_CHECKED_CONTAINERS)
#error "KELINFRA is built with checked containers: compile with -D_GLIBCXX_DEBUG"
#endif

/// KELINFRA_API marks the classes, functions and objects that the shared library exports. Unmarked names are
/// not exported.
/// KELINFRA_LOCAL removes a private member of an exported class from the exports. On Windows KELINFRA_LOCAL
/// is empty, because Windows exports whole classes. KELINFRA_STATIC is defined for programs that link the
/// static library, or the library's object files.
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

/// KELINFRA_NOINLINE prevents the compiler from inlining a function. KELINFRA_NOINLINE marks functions that
/// are called rarely. If the compiler inlined such a function, the common path of its caller would be slower.
#if defined(_MSC_VER)
#define KELINFRA_NOINLINE __declspec(noinline)
#else
#define KELINFRA_NOINLINE [[gnu::noinline]]
#endif

/// KELINFRA_LIFETIMEBOUND after a parameter means that the result refers to the argument; after a member
/// function it means that the result refers to the object. Clang then warns if the program keeps a result
/// that refers to a temporary argument or object. For other compilers KELINFRA_LIFETIMEBOUND is empty.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::lifetimebound)
#define KELINFRA_LIFETIMEBOUND [[clang::lifetimebound]]
#endif
#endif
#if !defined(KELINFRA_LIFETIMEBOUND)
#define KELINFRA_LIFETIMEBOUND
#endif
