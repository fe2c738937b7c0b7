// SPDX-License-Identifier: MIT
#include "platform/io/Jpeg2000Codec.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"

#include <algorithm>
#include <cstring>
#include <openjpeg.h>

namespace KYVO {
namespace io {

namespace {

constexpr std::uint64_t kMaxExpansion = 4096;
constexpr std::uint64_t kExpansionSlack = std::uint64_t(256) << 20;
constexpr int kMaxResolutions = 6;
// Bytes OpenJPEG keeps per tile and per tile-component before decoding (rounded up).
constexpr std::uint64_t kTileBytes = 8192, kTileComponentBytes = 2048;

struct CodecDeleter {
    void operator()(opj_codec_t* c) const { opj_destroy_codec(c); }
};
struct StreamDeleter {
    void operator()(opj_stream_t* s) const { opj_stream_destroy(s); }
};
struct ImageDeleter {
    void operator()(opj_image_t* i) const { opj_image_destroy(i); }
};
using CodecPtr = std::unique_ptr<opj_codec_t, CodecDeleter>;
using StreamPtr = std::unique_ptr<opj_stream_t, StreamDeleter>;
using ImagePtr = std::unique_ptr<opj_image_t, ImageDeleter>;

/// Collects OpenJPEG's error messages for the exception text.
struct Messages {
    std::string errors;

    void attach(opj_codec_t* codec) {
        opj_set_error_handler(codec, &Messages::onError, this);
        opj_set_warning_handler(codec, &Messages::ignore, nullptr);
        opj_set_info_handler(codec, &Messages::ignore, nullptr);
    }
    [[noreturn]] void fail(const std::string& what) const {
        KYVO_THROW(errors.empty() ? what : what + " (" + errors + ")");
    }

private:
    static void onError(const char* message, void* self) {
        std::string& e = static_cast<Messages*>(self)->errors;
        if (e.size() > 2000)
            return;
        std::string m(message);
        while (!m.empty() && (m.back() == '\n' || m.back() == '\r'))
            m.pop_back();
        e += (e.empty() ? "" : "; ") + m;
    }
    static void ignore(const char*, void*) {}
};

/// JP2 container, bare codestream, or neither, judged by the first bytes.
OPJ_CODEC_FORMAT detectFormat(const std::string& path, std::uint64_t* fileSize) {
    BinaryFile f(path, BinaryFile::Read);
    *fileSize = f.size();
    std::uint8_t head[12] = {};
    const std::size_t n = f.readSome(head, sizeof head);
    static const std::uint8_t jp2[12] = {0, 0, 0, 0x0c, 'j', 'P', ' ', ' ', 0x0d, 0x0a, 0x87, 0x0a};
    static const std::uint8_t j2k[4] = {0xff, 0x4f, 0xff, 0x51};
    if (n == 12 && std::memcmp(head, jp2, 12) == 0)
        return OPJ_CODEC_JP2;
    if (n >= 4 && std::memcmp(head, j2k, 4) == 0)
        return OPJ_CODEC_J2K;
    KYVO_THROW("not a JPEG 2000 file");
}

std::uint64_t bigEndian(const std::uint8_t* p, int bytes) {
    std::uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | p[i];
    return v;
}

/// Refuses a codestream whose SIZ marker asks for more than the budget, before OpenJPEG reads
/// it: reading the header alone makes OpenJPEG allocate the parameters of every tile, so a
/// few bytes declaring millions of tiny tiles would cost gigabytes. What cannot be parsed here
/// is left for OpenJPEG to refuse.
void checkDeclaredSize(const std::string& path, OPJ_CODEC_FORMAT format) {
    BinaryFile f(path, BinaryFile::Read);
    if (format == OPJ_CODEC_JP2) {
        // The codestream is the content of the "jp2c" box.
        for (int boxes = 0; boxes < 64; ++boxes) {
            std::uint8_t box[16];
            const std::uint64_t start = f.tell();
            if (f.readSome(box, 8) < 8)
                return;
            std::uint64_t length = bigEndian(box, 4);
            std::uint64_t header = 8;
            if (length == 1) {
                if (f.readSome(box + 8, 8) < 8)
                    return;
                length = bigEndian(box + 8, 8);
                header = 16;
            }
            if (std::memcmp(box + 4, "jp2c", 4) == 0)
                break;
            if (length < header || length > f.size() - start)
                return;
            f.seek(start + length);
        }
    }
    std::uint8_t siz[42];
    if (f.readSome(siz, sizeof siz) < sizeof siz || bigEndian(siz, 2) != 0xff4f ||
        bigEndian(siz + 2, 2) != 0xff51)
        return;
    const std::uint64_t width = bigEndian(siz + 8, 4), height = bigEndian(siz + 12, 4);
    const std::uint64_t x0 = bigEndian(siz + 16, 4), y0 = bigEndian(siz + 20, 4);
    const std::uint64_t tileWidth = bigEndian(siz + 24, 4), tileHeight = bigEndian(siz + 28, 4);
    const std::uint64_t tileX0 = bigEndian(siz + 32, 4), tileY0 = bigEndian(siz + 36, 4);
    const std::uint64_t components = bigEndian(siz + 40, 2);
    if (tileWidth == 0 || tileHeight == 0 || width <= x0 || height <= y0 || tileX0 > x0 || tileY0 > y0)
        return;
    const std::uint64_t tiles =
        ((width - tileX0 + tileWidth - 1) / tileWidth) * ((height - tileY0 + tileHeight - 1) / tileHeight);
    const long double bytes =
        static_cast<long double>(tiles) * (kTileBytes + kTileComponentBytes * components) +
        static_cast<long double>(width - x0) * static_cast<long double>(height - y0) * components * 4;
    const std::uint64_t limited =
        bytes > static_cast<long double>(UINT64_MAX / 2) ? UINT64_MAX / 2 : std::uint64_t(bytes);
    MemoryBudget::require(limited, "Decoding a JPEG 2000 image of " + std::to_string(width - x0) + "x" +
                                       std::to_string(height - y0) + " pixels in " + std::to_string(tiles) +
                                       " tiles");
}

/// What OpenJPEG holds while it decodes: every component as 32-bit samples (`samples` bytes),
/// the parameters of every tile and, when there is more than one tile, the samples of the tile
/// at work before they are copied out (a single tile's become the image's own).
std::uint64_t decodingBytes(opj_codec_t* codec, const opj_image_t& img, std::uint64_t samples) {
    opj_codestream_info_v2_t* info = opj_get_cstr_info(codec);
    if (!info)
        KYVO_THROW("cannot read the JPEG 2000 tile layout");
    const long double tiles = static_cast<long double>(info->tw) * info->th;
    const long double tileSamples =
        static_cast<long double>(std::min<OPJ_UINT32>(info->tdx, img.x1 - img.x0)) *
        std::min<OPJ_UINT32>(info->tdy, img.y1 - img.y0) * img.numcomps * 4;
    opj_destroy_cstr_info(&info);
    const long double bytes =
        samples + tiles * (kTileBytes + kTileComponentBytes * img.numcomps) + (tiles > 1 ? tileSamples : 0);
    return bytes > static_cast<long double>(UINT64_MAX / 2) ? UINT64_MAX / 2 : std::uint64_t(bytes);
}

EnImageType typeOf(const opj_image_t& img) {
    if (img.numcomps == 0)
        KYVO_THROW("the JPEG 2000 image has no components");
    const opj_image_comp_t& c = img.comps[0];
    const int colours = img.numcomps >= 3 ? 3 : 1;
    if (img.color_space == OPJ_CLRSPC_SYCC || img.color_space == OPJ_CLRSPC_EYCC ||
        img.color_space == OPJ_CLRSPC_CMYK)
        KYVO_THROW("JPEG 2000 colour spaces other than greyscale and RGB are not supported");
    for (int i = 0; i < colours; ++i) {
        const opj_image_comp_t& k = img.comps[i];
        if (k.dx != 1 || k.dy != 1 || k.w != c.w || k.h != c.h || k.prec != c.prec || !k.data)
            KYVO_THROW("subsampled or uneven JPEG 2000 components are not supported");
    }
    if (c.prec < 1 || c.prec > 16)
        KYVO_THROW("JPEG 2000 samples of " + std::to_string(c.prec) + " bits are not supported");
    if (colours == 3)
        return IMAGE_RGB_8I;
    return c.prec == 1 ? IMAGE_BOOL : c.prec <= 8 ? IMAGE_GREY_8 : IMAGE_GREY_16;
}

std::unique_ptr<CImage> toImage(const opj_image_t& img) {
    const EnImageType type = typeOf(img);
    const opj_image_comp_t& first = img.comps[0];
    const std::size_t n = std::size_t(first.w) * first.h;
    auto image = std::make_unique<CImage>(type, CSize(first.w, first.h, 1), CImage::Uninitialised);
    const int channels = image->channels();
    // Signed samples are shifted to unsigned; colour deeper than 8 bits is scaled down.
    const int shift = type == IMAGE_RGB_8I && first.prec > 8 ? int(first.prec) - 8 : 0;
    const std::int64_t offset = first.sgnd ? std::int64_t(1) << (first.prec - 1) : 0;
    const std::int64_t max = (std::int64_t(1) << first.prec) - 1;
    for (int c = 0; c < channels; ++c) {
        const OPJ_INT32* in = img.comps[c].data;
        std::uint8_t* out = image->data();
        for (std::size_t i = 0; i < n; ++i) {
            const std::int64_t v = std::clamp<std::int64_t>(std::int64_t(in[i]) + offset, 0, max);
            if (type == IMAGE_GREY_16) {
                const std::uint16_t s = std::uint16_t(v);
                std::memcpy(out + 2 * i, &s, 2);
            } else {
                out[i * std::size_t(channels) + std::size_t(c)] = std::uint8_t(v >> shift);
            }
        }
    }
    return image;
}

} // namespace

std::string Jpeg2000Codec::name() const {
    return m_container ? "JPEG 2000 images" : "JPEG 2000 codestreams";
}

std::vector<std::string> Jpeg2000Codec::endings() const {
    return {m_container ? ".jp2" : ".j2k"};
}

std::unique_ptr<CImage> Jpeg2000Codec::read(const std::string& path, const Options&) const {
    std::uint64_t fileSize = 0;
    const OPJ_CODEC_FORMAT format = detectFormat(path, &fileSize);
    checkDeclaredSize(path, format);
    Messages messages;
    ImagePtr img; // declared first: OpenJPEG's examples free the image after codec and stream
    CodecPtr codec(opj_create_decompress(format));
    StreamPtr stream(opj_stream_create_default_file_stream(path.c_str(), OPJ_TRUE));
    if (!codec || !stream)
        KYVO_THROW("cannot open the JPEG 2000 file");
    messages.attach(codec.get());
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    if (!opj_setup_decoder(codec.get(), &parameters))
        messages.fail("cannot set up the JPEG 2000 decoder");
    // A cut-off codestream is an error, not a blurred image.
    opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE);
    opj_image_t* raw = nullptr;
    const bool header = opj_read_header(stream.get(), codec.get(), &raw);
    img.reset(raw);
    if (!header || !img)
        messages.fail("cannot read the JPEG 2000 header");
    std::uint64_t samples = 0;
    if (img->x1 <= img->x0 || img->y1 <= img->y0 ||
        !mulOverflow(std::uint64_t(img->x1 - img->x0) * (img->y1 - img->y0), std::uint64_t(img->numcomps) * 4,
                     &samples) ||
        samples > fileSize * kMaxExpansion + kExpansionSlack)
        KYVO_THROW("the JPEG 2000 header promises more pixels than the file can hold");
    // Held until the image is converted, so that the volume made from them counts on top.
    const MemoryClaim decoding(decodingBytes(codec.get(), *img, samples),
                               "Decoding a JPEG 2000 image of " + std::to_string(img->x1 - img->x0) + "x" +
                                   std::to_string(img->y1 - img->y0) + " pixels");
    if (!opj_decode(codec.get(), stream.get(), img.get()) || !opj_end_decompress(codec.get(), stream.get()))
        messages.fail("cannot decode the JPEG 2000 data");
    return toImage(*img);
}

void Jpeg2000Codec::checkWritable(const CImage& image) const {
    if (image.size().z != 1)
        KYVO_THROW("JPEG 2000 files cannot hold a volume of " + std::to_string(image.size().z) + " z-layers");
    if (image.type() == IMAGE_GREY_F)
        KYVO_THROW("JPEG 2000 files cannot hold floating-point images");
    if (image.size().x > 0x7fffffff || image.size().y > 0x7fffffff)
        KYVO_THROW("the image is too large for JPEG 2000");
}

void Jpeg2000Codec::write(const std::string& path, const CImage& image, const Options&) const {
    checkWritable(image);
    const OPJ_UINT32 w = OPJ_UINT32(image.size().x), h = OPJ_UINT32(image.size().y);
    const int channels = image.channels();
    const OPJ_UINT32 prec = image.type() == IMAGE_BOOL ? 1 : image.type() == IMAGE_GREY_16 ? 16 : 8;
    opj_image_cmptparm_t parts[3];
    std::memset(parts, 0, sizeof parts);
    for (int c = 0; c < channels; ++c) {
        parts[c].dx = parts[c].dy = 1;
        parts[c].w = w;
        parts[c].h = h;
        parts[c].prec = prec;
        parts[c].sgnd = 0;
    }
    ImagePtr img(
        opj_image_create(OPJ_UINT32(channels), parts, channels == 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY));
    if (!img)
        KYVO_THROW("out of memory for the JPEG 2000 image");
    img->x0 = img->y0 = 0;
    img->x1 = w;
    img->y1 = h;
    const std::size_t n = std::size_t(w) * h;
    for (int c = 0; c < channels; ++c) {
        OPJ_INT32* out = img->comps[c].data;
        const std::uint8_t* in = image.data();
        for (std::size_t i = 0; i < n; ++i) {
            if (image.type() == IMAGE_GREY_16) {
                std::uint16_t v;
                std::memcpy(&v, in + 2 * i, 2);
                out[i] = v;
            } else {
                out[i] = in[i * std::size_t(channels) + std::size_t(c)];
            }
        }
    }

    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0; // lossless
    parameters.cp_disto_alloc = 1;
    parameters.irreversible = 0;
    parameters.tcp_mct = channels == 3 ? 1 : 0;
    // Every resolution level halves the image; the smallest must keep at least one pixel.
    int levels = 1;
    while (levels < kMaxResolutions && (std::min(w, h) >> levels) >= 1)
        ++levels;
    parameters.numresolution = levels;

    Messages messages;
    CodecPtr codec(opj_create_compress(m_container ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    if (!codec)
        KYVO_THROW("cannot create the JPEG 2000 encoder");
    messages.attach(codec.get());
    if (!opj_setup_encoder(codec.get(), &parameters, img.get()))
        messages.fail("cannot set up the JPEG 2000 encoder");
    StreamPtr stream(opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE));
    if (!stream)
        KYVO_THROW("cannot create the file");
    if (!opj_start_compress(codec.get(), img.get(), stream.get()) || !opj_encode(codec.get(), stream.get()) ||
        !opj_end_compress(codec.get(), stream.get()))
        messages.fail("cannot write the JPEG 2000 data");
}

} // namespace io
} // namespace KYVO
