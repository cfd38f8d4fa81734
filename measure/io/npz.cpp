#include "measure/io/npz.h"

#include <libdeflate.h>
#include <cstring>
#include <memory>
#include <new>

#include "measure/error.h"
#include "measure/io/npy.h"

namespace measure {
namespace {

constexpr std::uint32_t kLocalHeader = 0x04034b50, kDirectoryEntry = 0x02014b50, kEndOfDirectory = 0x06054b50;
constexpr std::size_t kLocalBytes = 30, kEndBytes = 22, kMostComment = 65535;
constexpr std::uint64_t kBestDeflate = 1032;  // no deflated byte stands for more
constexpr unsigned kStored = 0, kDeflated = 8, kEncrypted = 1;
constexpr std::uint32_t kSizeElsewhere = 0xffffffff;  // in the extra field of archives beyond 4 GB

struct Closer {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

// Little-endian numbers of an archive. Every position is checked.
class Archive {
public:
    Archive(const Bytes& bytes, const std::string& file) : mBytes(bytes), mFile(file) {}

    cv::Mat ReadArray() const {
        const std::size_t end = FindEnd();
        const std::size_t entries = Number(end + 10, 2);
        if (entries != 1) {
            throw InputError(mFile + ": holds " + std::to_string(entries) +
                             " arrays, an .npz file to read must hold one");
        }
        const std::size_t entry = Number(end + 16, 4);
        if (Number(entry, 4) != kDirectoryEntry) Refuse();
        if ((Number(entry + 8, 2) & kEncrypted) != 0) throw InputError(mFile + ": encrypted files cannot be read");
        const Bytes array = Unpack(entry);
        if (libdeflate_crc32(0, array.data(), array.size()) != Number(entry + 16, 4)) Refuse();
        return DecodeNpy(array, mFile);
    }

private:
    std::size_t FindEnd() const {
        if (mBytes.size() < kEndBytes) Refuse();
        const std::size_t last = mBytes.size() - kEndBytes;
        for (std::size_t at = last;; --at) {
            if (Number(at, 4) == kEndOfDirectory) return at;
            if (at == 0 || last - at == kMostComment) Refuse();
        }
    }

    Bytes Unpack(std::size_t entry) const {
        const std::size_t method = Number(entry + 10, 2), packed = Number(entry + 20, 4), size = Number(entry + 24, 4);
        const std::size_t local = Number(entry + 42, 4);
        if (packed == kSizeElsewhere || size == kSizeElsewhere)
            throw InputError(mFile + ": .npz files beyond 4 GB are not supported");
        if (Number(local, 4) != kLocalHeader) Refuse();
        const std::size_t start = local + kLocalBytes + Number(local + 26, 2) + Number(local + 28, 2);
        if (start > mBytes.size() || packed > mBytes.size() - start) Refuse();
        const std::uint8_t* data = mBytes.data() + start;
        if (method == kStored && size == packed) return Bytes(data, data + size);
        if (method != kDeflated || size / kBestDeflate > packed) Refuse();
        const std::unique_ptr<libdeflate_decompressor, Closer> decompressor(libdeflate_alloc_decompressor());
        if (!decompressor) throw std::bad_alloc();
        RequireMemory(mFile, static_cast<double>(size));
        Bytes out(size);
        if (libdeflate_deflate_decompress(decompressor.get(), data, packed, out.data(), size, nullptr) != 0) Refuse();
        return out;
    }

    std::size_t Number(std::size_t at, std::size_t bytes) const {
        if (at > mBytes.size() || bytes > mBytes.size() - at) Refuse();
        std::size_t number = 0;
        for (std::size_t i = 0; i < bytes; ++i) number |= std::size_t{mBytes[at + i]} << (8 * i);
        return number;
    }
    [[noreturn]] void Refuse() const { throw InputError(mFile + ": damaged NPZ file"); }

    const Bytes& mBytes;
    const std::string& mFile;
};

}  // namespace

bool IsNpz(const Bytes& bytes) { return bytes.size() >= 4 && std::memcmp(bytes.data(), "PK\3\4", 4) == 0; }

cv::Mat DecodeNpz(const Bytes& bytes, const std::string& file) { return Archive(bytes, file).ReadArray(); }

}  // namespace measure
