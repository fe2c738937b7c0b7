// SPDX-License-Identifier: MIT
#include "platform/CImage.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace KYVO {

namespace {
const char* const kTypeNames[ImageTypeCount] = {"IMAGE_GREY_8", "IMAGE_GREY_16", "IMAGE_GREY_F", "IMAGE_BOOL",
                                                 "IMAGE_RGB_8I"};

bool validType(EnImageType type) { return int(type) >= 0 && int(type) < ImageTypeCount; }
} // namespace

const char* ImageTypeName(EnImageType type) { return validType(type) ? kTypeNames[type] : "IMAGE_UNKNOWN"; }

bool ImageTypeFromName(const std::string& name, EnImageType* type) {
    for (int i = 0; i < ImageTypeCount; ++i) {
        if (name == kTypeNames[i]) {
            if (type)
                *type = EnImageType(i);
            return true;
        }
    }
    return false;
}

int ImageTypeChannels(EnImageType type) { return type == IMAGE_RGB_8I ? 3 : 1; }

int ImageTypeBytesPerChannel(EnImageType type) {
    switch (type) {
    case IMAGE_GREY_16:
        return 2;
    case IMAGE_GREY_F:
        return 4;
    default:
        return 1;
    }
}

CImage::CImage(EnImageType type, const CSize& size) : m_type(type), m_size(size) { allocate(true); }

CImage::CImage(EnImageType type, const CSize& size, UninitialisedTag) : m_type(type), m_size(size) {
    allocate(false);
}

CImage::CImage(const CImage& other) : m_type(other.m_type), m_size(other.m_size) {
    allocate(false);
    if (other.byteCount())
        std::memcpy(m_data, other.m_data, other.byteCount());
}

CImage& CImage::operator=(const CImage& other) {
    if (this != &other) {
        CImage copy(other);
        *this = std::move(copy);
    }
    return *this;
}

CImage::CImage(CImage&& other) noexcept : m_type(other.m_type), m_size(other.m_size), m_data(other.m_data) {
    other.m_data = nullptr;
    other.m_size = CSize();
}

CImage& CImage::operator=(CImage&& other) noexcept {
    if (this != &other) {
        std::free(m_data);
        m_type = other.m_type;
        m_size = other.m_size;
        m_data = other.m_data;
        other.m_data = nullptr;
        other.m_size = CSize();
    }
    return *this;
}

CImage::~CImage() { std::free(m_data); }

void CImage::allocate(bool zero) {
    if (!validType(m_type))
        KYVO_THROW("Unknown pixel type " + std::to_string(int(m_type)) + ".");
    const std::size_t maxBytes = std::numeric_limits<std::size_t>::max() / 2;
    const std::size_t bpv = std::size_t(bytesPerVoxel());
    // Refuse sizes whose byte count would overflow before asking for memory.
    std::size_t bytes = bpv;
    for (std::size_t extent : {m_size.x, m_size.y, m_size.z}) {
        if (extent != 0 && bytes > maxBytes / extent)
            KYVO_THROW("Image size " + std::to_string(m_size.x) + "x" + std::to_string(m_size.y) + "x" +
                       std::to_string(m_size.z) + " is too large.");
        bytes *= extent;
    }
    // The system grants far more than it can back; a volume that cannot fit is refused here
    // rather than by the out-of-memory killer once its pages are touched.
    MemoryBudget::require(bytes, "An image of " + std::to_string(m_size.x) + "x" + std::to_string(m_size.y) +
                                     "x" + std::to_string(m_size.z) + " voxels");
    // Even an empty image gets a valid pointer, so data() is never null.
    const std::size_t allocBytes = bytes ? bytes : 1;
    // calloc lets the system hand out zeroed pages lazily, which keeps large masks cheap.
    m_data = static_cast<uint8_t*>(zero ? std::calloc(allocBytes, 1) : std::malloc(allocBytes));
    if (!m_data)
        KYVO_THROW("Out of memory allocating " + std::to_string(bytes) + " bytes for an image.");
}

double CImage::value(std::size_t x, std::size_t y, std::size_t z, int c) const {
    const uint8_t* p = voxel(x, y, z);
    switch (m_type) {
    case IMAGE_GREY_16: {
        uint16_t v;
        std::memcpy(&v, p, 2);
        return v;
    }
    case IMAGE_GREY_F: {
        float v;
        std::memcpy(&v, p, 4);
        return v;
    }
    case IMAGE_RGB_8I:
        return p[c >= 0 && c < 3 ? c : 0];
    default:
        return p[0];
    }
}

} // namespace KYVO
