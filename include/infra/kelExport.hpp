#pragma once

/// KELINFRA_API marks what the shared library exports. Everything else stays inside it.
/// KELINFRA_LOCAL removes a private member of an exported class from the exports. Windows exports whole
/// classes.
/// Programs that are linked with the library's objects, and not with the library, define KELINFRA_STATIC.
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

/// KELINFRA_LIFETIMEBOUND follows a parameter, or a member function, whose argument or object the result
/// refers to. Clang then warns if the program keeps the result and the argument or object is a temporary. For
/// other compilers it is empty.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::lifetimebound)
#define KELINFRA_LIFETIMEBOUND [[clang::lifetimebound]]
#endif
#endif
#if !defined(KELINFRA_LIFETIMEBOUND)
#define KELINFRA_LIFETIMEBOUND
#endif
