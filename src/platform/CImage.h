// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace KYVO {

/// Voxel types of a CImage.
enum EnImageType {
    IMAGE_GREY_8 = 0, ///< one unsigned byte per voxel
    IMAGE_GREY_16,    ///< one unsigned 16-bit value per voxel, native byte order
    IMAGE_GREY_F,     ///< one 32-bit float per voxel
    IMAGE_BOOL,       ///< one byte per voxel holding 0 or 1
    IMAGE_RGB_8I,     ///< three interleaved bytes per voxel: red, green, blue
};

/// Number of pixel types above; they run from 0 to ImageTypeCount - 1.
constexpr int ImageTypeCount = 5;

/// "IMAGE_GREY_8" and so on; "IMAGE_UNKNOWN" outside the enumeration.
const char* ImageTypeName(EnImageType type);
/// Parses a name given by ImageTypeName; false when it names no type.
bool ImageTypeFromName(const std::string& name, EnImageType* type);
/// Channels per voxel: 3 for RGB, 1 otherwise.
int ImageTypeChannels(EnImageType type);
/// Bytes of one channel value.
int ImageTypeBytesPerChannel(EnImageType type);
/// Bytes of one voxel (channels × bytes per channel).
inline int ImageTypeBytesPerVoxel(EnImageType type) {
    return ImageTypeChannels(type) * ImageTypeBytesPerChannel(type);
}

/// Extent of a volume in voxels.
struct CSize {
    std::size_t x = 0;
    std::size_t y = 0;
    std::size_t z = 0;

    CSize() = default;
    CSize(std::size_t x_, std::size_t y_, std::size_t z_ = 1) : x(x_), y(y_), z(z_) {}

    /// Number of voxels, x·y·z.
    std::size_t Elements() const { return x * y * z; }
    bool operator==(const CSize& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const CSize& o) const { return !(*this == o); }
};

/// A volume of voxels laid out x fastest, then y, then z
/// (the voxel index of (x, y, z) is x + width·y + width·height·z).
///
/// The voxels live in one contiguous block. A new image is zero-filled unless it is
/// built with `Uninitialised`, which readers use when they overwrite every byte anyway.
class CImage {
public:
    enum UninitialisedTag { Uninitialised };

    /// A zero-filled image. Throws CException when the size overflows memory.
    CImage(EnImageType type, const CSize& size);
    /// An image whose voxels are left undefined.
    CImage(EnImageType type, const CSize& size, UninitialisedTag);
    CImage(const CImage& other);
    CImage& operator=(const CImage& other);
    CImage(CImage&& other) noexcept;
    CImage& operator=(CImage&& other) noexcept;
    ~CImage();

    const CSize& size() const { return m_size; }
    EnImageType type() const { return m_type; }
    int channels() const { return ImageTypeChannels(m_type); }
    int bytesPerVoxel() const { return ImageTypeBytesPerVoxel(m_type); }
    /// Bytes of one z-layer.
    std::size_t layerBytes() const { return m_size.x * m_size.y * std::size_t(bytesPerVoxel()); }
    /// Bytes of the whole volume.
    std::size_t byteCount() const { return layerBytes() * m_size.z; }

    uint8_t* data() { return m_data; }
    const uint8_t* data() const { return m_data; }
    /// First byte of voxel (x, y, z); the caller keeps the coordinates inside the volume.
    uint8_t* voxel(std::size_t x, std::size_t y, std::size_t z) { return m_data + offset(x, y, z); }
    const uint8_t* voxel(std::size_t x, std::size_t y, std::size_t z) const { return m_data + offset(x, y, z); }
    /// First byte of layer z.
    uint8_t* layer(std::size_t z) { return m_data + z * layerBytes(); }
    const uint8_t* layer(std::size_t z) const { return m_data + z * layerBytes(); }

    /// Channel c of voxel (x, y, z) as a double, whatever the type.
    double value(std::size_t x, std::size_t y, std::size_t z, int c = 0) const;

private:
    std::size_t offset(std::size_t x, std::size_t y, std::size_t z) const {
        return ((z * m_size.y + y) * m_size.x + x) * std::size_t(bytesPerVoxel());
    }
    void allocate(bool zero);

    EnImageType m_type;
    CSize m_size;
    uint8_t* m_data = nullptr;
};

} // namespace KYVO
