#ifndef RECORDER_LIVE_NUMBERS_H_
#define RECORDER_LIVE_NUMBERS_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <new>

namespace vam {

/// The journal's numbers of what is open in this process, by the address of its record or by its
/// descriptor. The vendor's records have no place for a number. Takes no lock: a child that another
/// thread's fork makes could wait for it forever.
class LiveNumbers {
 public:
  using Key = std::uintptr_t;

  /// Gives `key` the next number, from 1 on, and returns it. REQUIRES: key is not 0.
  std::uint32_t Make(Key key) {
    const std::uint32_t number = ++made;
    Keep(key, number);
    return number;
  }

  /// Returns whether anything ever had a number.
  [[nodiscard]] bool IsUsed() const { return inUse; }

  /// Gives `key` the number `number`. REQUIRES: neither is 0.
  void Keep(Key key, std::uint32_t number) {
    Slot* slot = Find(key);
    if (slot != nullptr || (slot = Claim(key)) != nullptr) {
      slot->number = number;
      inUse = true;
    }
  }

  /// Returns the number of `key`; 0 where it has none.
  [[nodiscard]] std::uint32_t Of(Key key) {
    const Slot* slot = key == 0 || !inUse ? nullptr : Find(key);
    return slot == nullptr ? 0 : slot->number.load();
  }

  /// Returns the number of `key`, which it then has no more; 0 where it had none.
  std::uint32_t Take(Key key) {
    Slot* slot = key == 0 || !inUse ? nullptr : Find(key);
    if (slot == nullptr) {
      return 0;
    }
    const std::uint32_t number = slot->number;
    slot->key = 0;
    return number;
  }

 private:
  struct Slot {
    std::atomic<Key> key{0};
    std::atomic<std::uint32_t> number{0};
  };
  static constexpr int kSlotsInABlock = 16;
  struct Block {
    std::array<Slot, kSlotsInABlock> slots;
    /// Lives as long as the process.
    std::atomic<Block*> next{nullptr};
  };

  /// Returns the slot of `key`; null where there is none.
  Slot* Find(Key key) {
    for (Block* block = &first; block != nullptr; block = block->next) {
      for (Slot& slot : block->slots) {
        if (slot.key == key) {
          return &slot;
        }
      }
    }
    return nullptr;
  }

  /// Makes a free slot that of `key` and returns it; null without memory.
  Slot* Claim(Key key) {
    for (Block* block = &first;; block = block->next) {
      for (Slot& slot : block->slots) {
        Key free = 0;
        if (slot.key.compare_exchange_strong(free, key)) {
          return &slot;
        }
      }
      if (block->next == nullptr) {
        auto* added = new (std::nothrow) Block;
        Block* none = nullptr;
        if (added == nullptr) {
          return nullptr;
        }
        if (!block->next.compare_exchange_strong(none, added)) {
          delete added;
        }
      }
    }
  }

  std::atomic<std::uint32_t> made{0};
  /// Whether any key ever had a number: most processes never open the node.
  std::atomic<bool> inUse{false};
  Block first;
};

}  // namespace vam

#endif  // RECORDER_LIVE_NUMBERS_H_
