// SPDX-License-Identifier: MIT
#include "display/TileRenderer.h"

#include "display/CImageInfo.h"
#include "platform/CException.h"

#include <algorithm>
#include <cmath>

namespace Pictor {

namespace {

inline uint32_t grey(uint32_t level) {
    return 0xff000000u | level * 0x010101u;
}

/// 0–255 for `v` in the window [lo, hi], clamped outside; 0 everywhere for an empty window.
inline uint32_t windowed(double v, double lo, double hi) {
    if (!(hi > lo))
        return 0;
    const double t = (v - lo) * (255.0 / (hi - lo)) + 0.5;
    if (!(t >= 0.0))
        return 0;
    return t >= 255.0 ? 255u : uint32_t(t);
}

// Float values with a gamma go through a table of this many steps of t in [0, 1].
constexpr int kGammaSteps = 65535;

} // namespace

bool TileRenderer::needsImageInfo(KYVO::EnImageType type, bool normalize, const DisplayContrast& contrast) {
    if (contrast.isSet())
        return false;
    switch (type) {
    case KYVO::IMAGE_GREY_16:
    case KYVO::IMAGE_GREY_F:
        return true;
    case KYVO::IMAGE_GREY_8:
    case KYVO::IMAGE_RGB_8I:
        return normalize;
    default:
        return false;
    }
}

TileRenderer::TileRenderer(const KYVO::CImage* image, std::size_t z, bool normalize, const CImageInfo* info,
                           const DisplayContrast& contrast)
    : m_image(image), m_z(z) {
    if (!image)
        KYVO_THROW("no image to display");
    if (z >= image->size().z)
        KYVO_THROW("layer " + std::to_string(z) + " is outside the image's " +
                   std::to_string(image->size().z) + " layers");
    const KYVO::EnImageType type = image->type();
    if (needsImageInfo(type, normalize, contrast) && !info)
        KYVO_THROW("the display window needs the image statistics");
    if (contrast.isSet() && type != KYVO::IMAGE_BOOL) {
        setUpContrast(contrast);
        return;
    }
    // An 8-bit range of zero width has nothing to stretch: it stays as it is.
    const bool stretch8 = normalize && info && info->count > 0 && info->max > info->min;
    switch (type) {
    case KYVO::IMAGE_GREY_8:
        m_lut.resize(256);
        for (uint32_t v = 0; v < 256; ++v)
            m_lut[v] = grey(stretch8 ? windowed(v, info->min, info->max) : v);
        break;
    case KYVO::IMAGE_BOOL:
        m_lut.resize(256);
        for (uint32_t v = 0; v < 256; ++v)
            m_lut[v] = grey(v ? 255u : 0u);
        break;
    case KYVO::IMAGE_GREY_16:
        m_lut.resize(65536);
        for (uint32_t v = 0; v < 65536; ++v)
            m_lut[v] = grey(info->count ? windowed(v, info->min, info->max) : 0u);
        break;
    case KYVO::IMAGE_GREY_F:
        if (info->count > 0 && info->max > info->min && std::isfinite(info->max - info->min)) {
            m_floatMin = float(info->min);
            m_floatScale = float(255.0 / (info->max - info->min));
        }
        break;
    case KYVO::IMAGE_RGB_8I:
        m_channelLut.resize(768);
        for (uint32_t v = 0; v < 768; ++v)
            m_channelLut[v] = uint8_t(stretch8 ? windowed(v % 256, info->min, info->max) : v % 256);
        break;
    default:
        KYVO_THROW("cannot display pixel type " + std::string(KYVO::ImageTypeName(type)));
    }
}

void TileRenderer::setUpContrast(const DisplayContrast& contrast) {
    switch (m_image->type()) {
    case KYVO::IMAGE_GREY_8:
    case KYVO::IMAGE_GREY_16: {
        const std::vector<uint8_t> levels =
            contrast.table(m_image->type() == KYVO::IMAGE_GREY_8 ? 256 : 65536);
        m_lut.resize(levels.size());
        for (std::size_t v = 0; v < levels.size(); ++v)
            m_lut[v] = grey(levels[v]);
        break;
    }
    case KYVO::IMAGE_GREY_F: {
        const ChannelWindow& w = contrast.window(0);
        m_floatMin = float(w.min);
        m_floatScale = float(255.0 / (w.max - w.min));
        if (contrast.gamma != 1.0) {
            // pow() per pixel would dominate painting; a fine table of t keeps every level exact
            // but for values within 1/65535 of the window of a rounding edge.
            m_floatScale = float(kGammaSteps / (w.max - w.min));
            m_gammaLut.resize(kGammaSteps + 1);
            const DisplayContrast unit = DisplayContrast::of(0.0, 1.0, contrast.gamma);
            for (int i = 0; i <= kGammaSteps; ++i)
                m_gammaLut[std::size_t(i)] = grey(unit.map(double(i) / kGammaSteps));
        }
        break;
    }
    case KYVO::IMAGE_RGB_8I: {
        m_channelLut.resize(768);
        for (int c = 0; c < 3; ++c) {
            const std::vector<uint8_t> levels = contrast.table(256, c);
            std::copy(levels.begin(), levels.end(), m_channelLut.begin() + c * 256);
        }
        break;
    }
    default:
        break;
    }
}

template <typename Map>
void TileRenderer::renderRows(QImage& out, const QRect& source, int level, Map map) const {
    const std::size_t step = std::size_t(1) << level;
    const std::size_t half = step / 2;
    const std::size_t voxelBytes = std::size_t(m_image->bytesPerVoxel());
    const std::size_t rowBytes = m_image->size().x * voxelBytes;
    const uint8_t* layer = m_image->layer(m_z);
    const int outW = out.width();
    const int outH = out.height();
    // Byte offsets of the sampled columns inside a row.
    std::vector<std::size_t> columns(static_cast<std::size_t>(outW));
    for (int i = 0; i < outW; ++i) {
        const std::size_t x = std::min(std::size_t(i) * step + half, std::size_t(source.width()) - 1);
        columns[std::size_t(i)] = (std::size_t(source.x()) + x) * voxelBytes;
    }
    for (int j = 0; j < outH; ++j) {
        const std::size_t y = std::min(std::size_t(j) * step + half, std::size_t(source.height()) - 1);
        const uint8_t* row = layer + (std::size_t(source.y()) + y) * rowBytes;
        uint32_t* dst = reinterpret_cast<uint32_t*>(out.scanLine(j));
        if (level == 0) {
            // Contiguous pixels: a plain loop the compiler can vectorise.
            const uint8_t* p = row + std::size_t(source.x()) * voxelBytes;
            for (int i = 0; i < outW; ++i)
                dst[i] = map(p + std::size_t(i) * voxelBytes);
        } else {
            for (int i = 0; i < outW; ++i)
                dst[i] = map(row + columns[std::size_t(i)]);
        }
    }
}

QImage TileRenderer::render(const QRect& source, int level) const {
    const KYVO::CSize& size = m_image->size();
    if (source.isEmpty() || source.x() < 0 || source.y() < 0 || std::size_t(source.right()) >= size.x ||
        std::size_t(source.bottom()) >= size.y || level < 0 || level > 30)
        KYVO_THROW("tile outside the image");
    const int step = 1 << level;
    QImage out((source.width() + step - 1) / step, (source.height() + step - 1) / step, QImage::Format_RGB32);
    if (out.isNull())
        KYVO_THROW("out of memory for an image tile");
    const uint32_t* lut = m_lut.data();
    switch (m_image->type()) {
    case KYVO::IMAGE_GREY_8:
    case KYVO::IMAGE_BOOL:
        renderRows(out, source, level, [lut](const uint8_t* p) { return lut[*p]; });
        break;
    case KYVO::IMAGE_GREY_16:
        renderRows(out, source, level,
                   [lut](const uint8_t* p) { return lut[*reinterpret_cast<const uint16_t*>(p)]; });
        break;
    case KYVO::IMAGE_GREY_F: {
        const float lo = m_floatMin;
        const float scale = m_floatScale;
        if (!m_gammaLut.empty()) {
            const uint32_t* g = m_gammaLut.data();
            renderRows(out, source, level, [lo, scale, g](const uint8_t* p) {
                const float t = (*reinterpret_cast<const float*>(p) - lo) * scale + 0.5f;
                return g[!(t >= 0.0f) ? 0 : t >= float(kGammaSteps) ? kGammaSteps : int(t)];
            });
            break;
        }
        renderRows(out, source, level, [lo, scale](const uint8_t* p) {
            const float t = (*reinterpret_cast<const float*>(p) - lo) * scale + 0.5f;
            // The negated test also sends NaN to black.
            const uint32_t g = !(t >= 0.0f) ? 0u : t >= 255.0f ? 255u : uint32_t(t);
            return grey(g);
        });
        break;
    }
    case KYVO::IMAGE_RGB_8I: {
        const uint8_t* c = m_channelLut.data();
        renderRows(out, source, level, [c](const uint8_t* p) {
            return 0xff000000u | uint32_t(c[p[0]]) << 16 | uint32_t(c[256 + p[1]]) << 8 |
                   uint32_t(c[512 + p[2]]);
        });
        break;
    }
    default:
        break;
    }
    return out;
}

} // namespace Pictor
