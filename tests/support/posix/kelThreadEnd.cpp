#include "support/kelThreadEnd.hpp"

#include <pthread.h>

#include <memory>
#include <system_error>
#include <utility>

namespace tarvo::test {
namespace {

pthread_key_t makeKey() {
  pthread_key_t key{};
  const int error = pthread_key_create(&key, [](void* data) {
    const std::unique_ptr<std::function<void()>> last(static_cast<std::function<void()>*>(data));
    (*last)();
  });
  if (error != 0) throw std::system_error(error, std::generic_category(), "no key for the end of a thread");
  return key;
}

}  // namespace

// The C library calls the destructors of thread-specific keys after those of thread_local objects, in the
// order in which the keys were created.
void atThreadEnd(std::function<void()> action) {
  static const pthread_key_t key = makeKey();
  auto last = std::make_unique<std::function<void()>>(std::move(action));
  if (const int error = pthread_setspecific(key, last.get()); error != 0)
    throw std::system_error(error, std::generic_category(), "no value for the end of a thread");
  static_cast<void>(last.release());
}

}  // namespace tarvo::test
