#pragma once

#include <array>
#include <cstddef>

/// The platform layer's memory block for each thread, with callbacks when the thread ends.
namespace tarvo::platform {

/// The users of a thread's block. Each user has a part of the block.
enum class ThreadPart : std::size_t { converters, trace };
inline constexpr std::size_t threadParts = 2;

/// The sizes of the parts in bytes.
inline constexpr std::array<std::size_t, threadParts> threadPartSizes = {1024, 64};

/// The memory of a block, with the parts one after another. A block contains zeros at first.
struct ThreadBlock {
  alignas(std::max_align_t) unsigned char bytes[threadPartSizes[0] + threadPartSizes[1]];
  void (*atEnd[threadParts])(void* part) noexcept;

  /// Returns the part of a user, and stores the function that must be called for this part when the thread
  /// ends.
  void* use(ThreadPart part, void (*whenThreadEnds)(void*) noexcept) noexcept {
    const auto index = static_cast<std::size_t>(part);
    atEnd[index] = whenThreadEnds;
    return start(index);
  }
  /// Calls the stored functions of all users.
  void end() noexcept {
    for (std::size_t index = 0; index < threadParts; ++index) {
      if (atEnd[index] != nullptr) atEnd[index](start(index));
    }
  }

 private:
  void* start(std::size_t index) noexcept { return bytes + (index == 0 ? 0 : threadPartSizes[0]); }
};

/// Returns the user's part of the calling thread's block, which is aligned for any type and contains zeros at
/// first. When the thread ends, `atEnd` is called once with the part; pass the same function in every call.
/// If there is no memory for the block, the result is null. At the end of the thread, after the first call of
/// an `atEnd` function, the result is null, too. The block of the thread that ends the process may never be
/// released.
void* threadBlock(ThreadPart part, void (*atEnd)(void* part) noexcept) noexcept;

}  // namespace tarvo::platform
