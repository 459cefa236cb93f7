// ABuffer: a small owned run of bytes, for requests and responses that the agent
// keeps in memory rather than in files.
#ifndef INETMGR_BUFFER_H
#define INETMGR_BUFFER_H

#include <cstddef>
#include <utility>
#include <vector>

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

// A value type: copies copy the bytes. Defined wholly in this header, so it
// costs nothing to pass across the library's boundary. Not thread-safe, like
// any value.
class ABuffer {
 public:
  ABuffer() = default;
  // A copy of `size` bytes at `data` (which may be null when `size` is 0).
  ABuffer(const void* data, std::size_t size) { assign(data, size); }
  explicit ABuffer(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}

  // Replaces the contents with a copy of `size` bytes at `data`.
  void assign(const void* data, std::size_t size) {
    const auto* first = static_cast<const unsigned char*>(data);
    bytes_.assign(first, first + (data != nullptr ? size : 0));
  }
  void clear() { bytes_.clear(); }

  // The bytes; valid until the buffer next changes. Null or not when empty.
  const unsigned char* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }
  const std::vector<unsigned char>& bytes() const { return bytes_; }
  std::vector<unsigned char>& bytes() { return bytes_; }

  bool operator==(const ABuffer& other) const { return bytes_ == other.bytes_; }
  bool operator!=(const ABuffer& other) const { return bytes_ != other.bytes_; }

 private:
  std::vector<unsigned char> bytes_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_BUFFER_H
