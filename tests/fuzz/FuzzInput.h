#pragma once

// Reads typed values off the front of a fuzzing input; past its end every value is 0, so that any input,
// even an empty one, describes a complete case.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace velin_fuzz {

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

    template <typename T>
    T value() {
        std::uint8_t bytes[sizeof(T)] = {};
        const std::size_t available = pos_ < size_ ? std::min(sizeof(T), size_ - pos_) : 0;
        if (available > 0) std::memcpy(bytes, data_ + pos_, available);
        pos_ += available;
        T v;
        std::memcpy(&v, bytes, sizeof v);
        return v;
    }

    /// Up to the next 0 byte (which is consumed) or the end.
    std::string text() {
        std::string s;
        while (pos_ < size_ && data_[pos_] != 0) s.push_back(static_cast<char>(data_[pos_++]));
        if (pos_ < size_) ++pos_;
        return s;
    }

    const std::uint8_t* rest() const { return data_ + pos_; }
    std::size_t restSize() const { return size_ - pos_; }
    bool atEnd() const { return pos_ >= size_; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

}  // namespace velin_fuzz
