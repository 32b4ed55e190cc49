// A bounds-checked cursor over a byte span, shared by the codec's own
// parsers. Every read checks the bytes left; a short read sets the failure
// flag, returns 0 and never moves past the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vellum::codec {

class ByteCursor {
  public:
    ByteCursor(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool ok() const { return ok_; }
    std::size_t pos() const { return pos_; }
    std::size_t left() const { return size_ - pos_; }
    std::size_t size() const { return size_; }
    const std::uint8_t* data() const { return data_; }

    bool need(std::size_t n) {
        if (!ok_ || n > size_ - pos_) {
            ok_ = false;
            return false;
        }
        return true;
    }
    bool seek(std::size_t to) {
        if (!ok_ || to > size_) return ok_ = false;
        pos_ = to;
        return true;
    }
    bool skip(std::size_t n) { return need(n) && (pos_ += n, true); }
    std::uint8_t u8() { return need(1) ? data_[pos_++] : 0; }
    std::uint16_t u16le() {
        if (!need(2)) return 0;
        const std::uint16_t v = static_cast<std::uint16_t>(data_[pos_] | data_[pos_ + 1] << 8);
        pos_ += 2;
        return v;
    }
    std::uint16_t u16be() {
        if (!need(2)) return 0;
        const std::uint16_t v = static_cast<std::uint16_t>(data_[pos_] << 8 | data_[pos_ + 1]);
        pos_ += 2;
        return v;
    }
    std::uint32_t u32le() {
        if (!need(4)) return 0;
        std::uint32_t v = 0;
        for (int i = 3; i >= 0; --i) v = v << 8 | data_[pos_ + i];
        pos_ += 4;
        return v;
    }
    std::uint32_t u32be() {
        if (!need(4)) return 0;
        std::uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = v << 8 | data_[pos_ + i];
        pos_ += 4;
        return v;
    }
    bool bytes(void* out, std::size_t n) {
        if (!need(n)) return false;
        std::memcpy(out, data_ + pos_, n);
        pos_ += n;
        return true;
    }
    // A pointer to the next n bytes (null when short), moving past them.
    const std::uint8_t* take(std::size_t n) {
        if (!need(n)) return nullptr;
        const std::uint8_t* p = data_ + pos_;
        pos_ += n;
        return p;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
    bool ok_ = true;
};

}  // namespace vellum::codec
