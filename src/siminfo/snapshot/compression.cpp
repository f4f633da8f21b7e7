#include "siminfo/snapshot/compression.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <streambuf>
#include <utility>
#include <vector>

namespace siminfo {
namespace {

using ReadBytes = DocumentStream::ReadBytes;

constexpr std::size_t kBuffer = 256UL * 1024;
constexpr std::string_view kGzip = "\x1f\x8b";
constexpr std::string_view kZstd = "\x28\xb5\x2f\xfd";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

[[noreturn]] void refuseDamage(const char* format) {
  throw EncodingError("the " + std::string(format) + " data is damaged or cut off");
}

/// Compressed bytes, read ahead of what is made of them.
class Input {
 public:
  explicit Input(ReadBytes readBytes) : readBytes_(std::move(readBytes)), buffer_(kZstd.size()) {}

  /// Whether there are any.
  bool fill() {
    if (begin_ < end_) return true;
    begin_ = 0;
    end_ = readBytes_(buffer_.data(), buffer_.size());
    return end_ > 0;
  }
  /// What is needed to tell a format, or all that there is.
  std::string_view peek() {
    while (end_ < buffer_.size()) {
      const std::size_t got = readBytes_(buffer_.data() + end_, buffer_.size() - end_);
      if (got == 0) break;
      end_ += got;
    }
    return held();
  }
  /// Plain text is not read ahead, which would be a copy more.
  void grow() { buffer_.resize(kBuffer); }
  /// What was read ahead, and then what there is.
  std::size_t read(char* to, std::size_t size) {
    const std::size_t ahead = std::min(held().size(), size);
    if (ahead == 0) return readBytes_(to, size);
    std::memcpy(to, held().data(), ahead);
    drop(ahead);
    return ahead;
  }
  std::string_view held() const { return {buffer_.data() + begin_, end_ - begin_}; }
  void drop(std::size_t size) { begin_ += size; }

 private:
  ReadBytes readBytes_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// zlib's interface takes bytes that it does not change through pointers that would allow it.
Bytef* bytes(const char* text) { return reinterpret_cast<Bytef*>(const_cast<char*>(text)); }

/// Makes text of gzip's members, one behind the other. What comes before a damage is handed out before it is
/// refused, so that what is read does not depend on how the bytes arrive.
class GzipDecoder {
 public:
  GzipDecoder() {
    constexpr int kGzipOnly = 15 + 16;
    if (inflateInit2(&stream_, kGzipOnly) != Z_OK) throw std::bad_alloc();
  }
  ~GzipDecoder() { inflateEnd(&stream_); }
  GzipDecoder(const GzipDecoder&) = delete;
  GzipDecoder& operator=(const GzipDecoder&) = delete;

  /// 0 at the end.
  std::size_t decode(Input& input, char* to, std::size_t size) {
    stream_.next_out = bytes(to);
    stream_.avail_out = static_cast<uInt>(std::min(size, kBuffer));
    const uInt room = stream_.avail_out;
    while (stream_.avail_out == room) {
      if (isDamaged_) refuseDamage("gzip");
      if (!input.fill()) {
        if (isWithin_) refuseDamage("gzip");
        return 0;
      }
      if (!isWithin_ && inflateReset(&stream_) != Z_OK) refuseDamage("gzip");
      isWithin_ = true;
      const std::string_view held = input.held();
      stream_.next_in = bytes(held.data());
      stream_.avail_in = static_cast<uInt>(held.size());
      const int result = inflate(&stream_, Z_NO_FLUSH);
      input.drop(held.size() - stream_.avail_in);
      if (result == Z_MEM_ERROR) throw std::bad_alloc();
      isDamaged_ = result != Z_OK && result != Z_STREAM_END;
      isWithin_ = result != Z_STREAM_END;
    }
    return room - stream_.avail_out;
  }

 private:
  z_stream stream_{};
  bool isWithin_ = true;
  bool isDamaged_ = false;
};

/// The same of zstd's frames.
class ZstdDecoder {
 public:
  ZstdDecoder() : stream_(ZSTD_createDStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
  }

  /// 0 at the end.
  std::size_t decode(Input& input, char* to, std::size_t size) {
    ZSTD_outBuffer out{to, size, 0};
    while (out.pos == 0) {
      if (isDamaged_) refuseDamage("zstd");
      // What is left inside comes out without another byte.
      if (!input.fill() && !isWithin_) return 0;
      // No more than the decoder asks for, which is one block: it drops what it made of those before a bad
      // one.
      const std::string_view held = input.held().substr(0, wanted_);
      ZSTD_inBuffer in{held.data(), held.size(), 0};
      const std::size_t result = ZSTD_decompressStream(stream_.get(), &out, &in);
      input.drop(in.pos);
      isDamaged_ = ZSTD_isError(result) != 0 || (held.empty() && out.pos == 0);
      isWithin_ = result != 0;
      wanted_ = isWithin_ ? result : kFrameStart;
    }
    return out.pos;
  }

 private:
  struct Free {
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
  };
  static constexpr std::size_t kFrameStart = 5;

  std::unique_ptr<ZSTD_DStream, Free> stream_;
  std::size_t wanted_ = kFrameStart;
  bool isWithin_ = true;
  bool isDamaged_ = false;
};

template <class Decoder>
ReadBytes decoded(const std::shared_ptr<Input>& input) {
  input->grow();
  return [input, decoder = std::make_shared<Decoder>()](char* to, std::size_t size) {
    return decoder->decode(*input, to, size);
  };
}

/// By their first bytes, and not by a name.
ReadBytes decompressed(ReadBytes readBytes) {
  const auto input = std::make_shared<Input>(std::move(readBytes));
  const std::string_view first = input->peek();
  if (first.starts_with(kGzip)) return decoded<GzipDecoder>(input);
  if (first.starts_with(kZstd)) return decoded<ZstdDecoder>(input);
  return [input](char* to, std::size_t size) { return input->read(to, size); };
}

bool isUtf16(std::string_view text) {
  return text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff") ||
         (text.size() > 1 && (text[0] == '\0') != (text[1] == '\0'));
}

/// Without the mark that may stand before the text.
class MarklessText {
 public:
  explicit MarklessText(ReadBytes readBytes) : readBytes_(std::move(readBytes)) {}

  std::size_t read(char* to, std::size_t size) {
    if (!std::exchange(isFirst_, false)) return readBytes_(to, size);
    std::size_t have = 0;
    while (have < std::min(size, kByteOrderMark.size())) {
      const std::size_t got = readBytes_(to + have, size - have);
      if (got == 0) break;
      have += got;
    }
    if (isUtf16({to, have}))
      throw EncodingError("is UTF-16; expected UTF-8, as iconv -f UTF-16 -t UTF-8 makes it");
    if (!std::string_view(to, have).starts_with(kByteOrderMark)) return have;
    have -= kByteOrderMark.size();
    std::memmove(to, to + kByteOrderMark.size(), have);
    return have > 0 ? have : readBytes_(to, size);
  }

 private:
  ReadBytes readBytes_;
  bool isFirst_ = true;
};

/// The buffer of a stream whose text goes through a compressor: `compress` gets each piece, and whether it is
/// the last.
class CompressingBuffer : public std::streambuf {
 public:
  CompressingBuffer() : text_(kBuffer) { setp(text_.data(), text_.data() + text_.size()); }

 protected:
  virtual bool compress(std::string_view piece, bool isLast) = 0;
  bool compressHeld(bool isLast) {
    const bool isDone = compress({pbase(), static_cast<std::size_t>(pptr() - pbase())}, isLast);
    setp(text_.data(), text_.data() + text_.size());
    return isDone;
  }
  int overflow(int character) override {
    if (!compressHeld(false)) return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof()))
      return sputc(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
  }

 private:
  std::vector<char> text_;
};

class GzipBuffer final : public CompressingBuffer {
 public:
  explicit GzipBuffer(std::ostream& to) : to_(to), compressed_(kBuffer) {
    constexpr int kGzipOnly = 15 + 16;
    constexpr int kMemoryLevel = 8;
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipOnly, kMemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~GzipBuffer() override {
    if (!compressHeld(true)) to_.setstate(std::ios::badbit);
    deflateEnd(&stream_);
  }
  GzipBuffer(const GzipBuffer&) = delete;
  GzipBuffer& operator=(const GzipBuffer&) = delete;

 private:
  bool compress(std::string_view piece, bool isLast) override {
    stream_.next_in = bytes(piece.data());
    stream_.avail_in = static_cast<uInt>(piece.size());
    do {
      stream_.next_out = bytes(compressed_.data());
      stream_.avail_out = static_cast<uInt>(compressed_.size());
      if (deflate(&stream_, isLast ? Z_FINISH : Z_NO_FLUSH) == Z_STREAM_ERROR) return false;
      to_.write(compressed_.data(), static_cast<std::streamsize>(compressed_.size() - stream_.avail_out));
    } while (stream_.avail_out == 0);
    return to_.good();
  }

  std::ostream& to_;
  std::vector<char> compressed_;
  z_stream stream_{};
};

class ZstdBuffer final : public CompressingBuffer {
 public:
  explicit ZstdBuffer(std::ostream& to) : to_(to), compressed_(kBuffer), stream_(ZSTD_createCStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
    ZSTD_CCtx_setParameter(stream_.get(), ZSTD_c_checksumFlag, 1);
  }
  ~ZstdBuffer() override {
    if (!compressHeld(true)) to_.setstate(std::ios::badbit);
  }
  ZstdBuffer(const ZstdBuffer&) = delete;
  ZstdBuffer& operator=(const ZstdBuffer&) = delete;

 private:
  struct Free {
    void operator()(ZSTD_CStream* stream) const { ZSTD_freeCStream(stream); }
  };

  bool compress(std::string_view piece, bool isLast) override {
    ZSTD_inBuffer in{piece.data(), piece.size(), 0};
    for (std::size_t left = 1; left != 0;) {
      ZSTD_outBuffer out{compressed_.data(), compressed_.size(), 0};
      left = ZSTD_compressStream2(stream_.get(), &out, &in, isLast ? ZSTD_e_end : ZSTD_e_continue);
      if (ZSTD_isError(left) != 0) return false;
      to_.write(compressed_.data(), static_cast<std::streamsize>(out.pos));
      if (!isLast && in.pos == in.size) break;
    }
    return to_.good();
  }

  std::ostream& to_;
  std::vector<char> compressed_;
  std::unique_ptr<ZSTD_CStream, Free> stream_;
};

/// A stream that has its buffer.
template <class Buffer>
class CompressingStream final : public std::ostream {
 public:
  explicit CompressingStream(std::ostream& to) : std::ostream(nullptr), buffer_(to) { rdbuf(&buffer_); }

 private:
  Buffer buffer_;
};

}  // namespace

ReadBytes textOf(ReadBytes readBytes) {
  // Nothing is read before the first call.
  return [raw = std::move(readBytes), text = std::shared_ptr<MarklessText>()](char* to,
                                                                              std::size_t size) mutable {
    if (text == nullptr) text = std::make_shared<MarklessText>(decompressed(std::move(raw)));
    return text->read(to, size);
  };
}

std::unique_ptr<std::ostream> compressorFor(std::string_view fileName, std::ostream& to) {
  if (fileName.ends_with(".gz")) return std::make_unique<CompressingStream<GzipBuffer>>(to);
  if (fileName.ends_with(".zst")) return std::make_unique<CompressingStream<ZstdBuffer>>(to);
  return nullptr;
}

}  // namespace siminfo
