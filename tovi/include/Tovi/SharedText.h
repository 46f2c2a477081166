#pragma once
// Immutable UTF-16 text that copies share. One allocation holds the reference count, the
// length and the code units (with a terminating 0); the empty text is a null pointer and
// costs nothing. A copy is one pointer and one count.
//
// The count is atomic: a value read out of a model may be handed to another thread while
// the model, or other copies, keep the same text.
//
// The narrow (UTF-8) form is made on first request and then kept with the text, for every
// copy; making it is safe when copies on several threads ask at once (one form wins, the
// others are freed).
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Tovi {

class SharedText {
 public:
  SharedText() noexcept = default;
  explicit SharedText(std::u16string_view text);
  // UTF-8 text; malformed sequences are dropped. With keepBytes, input that is not
  // well-formed UTF-8 is kept as it was given as this object's narrow form, which no copy
  // shares: a copy has a buffer of its own that makes its narrow form from the text.
  // Well-formed input needs no keeping, the narrow form made from the text is the same.
  static SharedText fromUtf8(std::string_view utf8, bool keepBytes = false);

  SharedText(const SharedText& other) : fRep(other.share()) {}
  SharedText(SharedText&& other) noexcept : fRep(other.fRep) { other.fRep = nullptr; }
  SharedText& operator=(const SharedText& other) {
    if (fRep != other.fRep) {
      Rep* shared = other.share();
      release(fRep);
      fRep = shared;
    }
    return *this;
  }
  SharedText& operator=(SharedText&& other) noexcept {
    if (this != &other) {
      release(fRep);
      fRep = other.fRep;
      other.fRep = nullptr;
    }
    return *this;
  }
  ~SharedText() { release(fRep); }

  std::size_t size() const noexcept { return fRep ? fRep->size() : 0; }
  bool empty() const noexcept { return size() == 0; }
  // 0-terminated; valid while this object or a copy sharing its buffer lives.
  const char16_t* data() const noexcept { return fRep ? fRep->text() : u""; }
  std::u16string_view view() const noexcept {
    return fRep ? std::u16string_view(fRep->text(), fRep->size()) : std::u16string_view();
  }

  // The narrow form, made on first use; 0-terminated, though it may hold a 0 inside too
  // (narrowForm has the whole of it).
  const char* narrow() const { return narrowForm().data(); }
  std::string_view narrowForm() const;
  // The narrow form if one has been made or kept; no view (null data) if not.
  std::string_view keptNarrow() const noexcept;

  // Whether the two share one buffer: then they are equal without looking at the text.
  bool sharesWith(const SharedText& other) const noexcept { return fRep == other.fRep; }

  friend bool operator==(const SharedText& a, const SharedText& b) noexcept {
    if (a.fRep == b.fRep) return true;
    const std::size_t n = a.size();
    return n == b.size() && std::memcmp(a.data(), b.data(), n * sizeof(char16_t)) == 0;
  }
  // By UTF-16 code units.
  friend bool operator<(const SharedText& a, const SharedText& b) noexcept {
    return a.fRep != b.fRep && a.view() < b.view();
  }

 private:
  struct Narrow;
  struct Rep {
    static constexpr std::uint32_t kOwnNarrow = 1u << 31;
    std::atomic<std::uint32_t> refs;
    std::uint32_t bits;  // the size in code units, and kOwnNarrow
    std::atomic<Narrow*> narrow;
    std::size_t size() const noexcept { return bits & ~kOwnNarrow; }
    // The code units follow the header.
    const char16_t* text() const noexcept { return reinterpret_cast<const char16_t*>(this + 1); }
    char16_t* text() noexcept { return reinterpret_cast<char16_t*>(this + 1); }
  };
  static_assert(sizeof(Rep) % alignof(char16_t) == 0);

  static Rep* allocate(std::size_t size, std::size_t narrowSize, bool ownNarrow);
  static void destroy(Rep* rep) noexcept;
  static void release(Rep* rep) noexcept {
    if (!rep) return;
    // The last owner need not write the count: no other can take a copy any more.
    if (rep->refs.load(std::memory_order_acquire) == 1 ||
        rep->refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
      destroy(rep);
  }
  Rep* share() const {
    if (!fRep) return nullptr;
    if (fRep->bits & Rep::kOwnNarrow) [[unlikely]]
      return copyText();
    fRep->refs.fetch_add(1, std::memory_order_relaxed);
    return fRep;
  }
  Rep* copyText() const;

  Rep* fRep = nullptr;
};

}  // namespace Tovi
