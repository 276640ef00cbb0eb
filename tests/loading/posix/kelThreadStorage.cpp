#include <array>

/// Its 1 KiB is reserved when the module is loaded, in every thread.
extern "C" {
[[gnu::tls_model("initial-exec")]] thread_local std::array<char, 1024> kelThreadStorage = {};

char* threadStorage() {
  return kelThreadStorage.data();
}
}
