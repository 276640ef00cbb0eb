#pragma once

/// KELINFRA_API marks what the shared library exports. Everything else stays inside it.
/// KELINFRA_LOCAL takes a private member of an exported class out of the exports again.
#if defined(_WIN32)
#if defined(KELINFRA_BUILDING)
#define KELINFRA_API __declspec(dllexport)
#else
#define KELINFRA_API __declspec(dllimport)
#endif
#define KELINFRA_LOCAL
#else
#define KELINFRA_API __attribute__((visibility("default")))
#define KELINFRA_LOCAL __attribute__((visibility("hidden")))
#endif
