// SPDX-License-Identifier: MIT
// Every image codec reads through CImageIo2::Load, as the program does; the file's ending
// picks the codec, the content must be whatever the fuzzer made of it.
#include "fuzz/harness/FuzzTarget.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"

#include <memory>

namespace pxmfuzz {

namespace {

int loadImage(const char* name, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchFile(name, data, size);
    try {
        const std::unique_ptr<KYVO::CImage> image(KYVO::CImageIo2::Load(path));
        if (!image)
            return Refused;
        // A loaded image must hold as many bytes as its size says; the sanitizer checks the last.
        if (image->byteCount() > 0) {
            volatile std::uint8_t last = image->data()[image->byteCount() - 1];
            (void)last;
        }
        return Read;
    } catch (const KYVO::CException&) {
        return Refused;
    }
}

} // namespace

int fuzzNetpbm(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.pgm", data, size);
}
int fuzzTiff(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.tif", data, size);
}
int fuzzPng(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.png", data, size);
}
int fuzzJpeg(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.jpg", data, size);
}
int fuzzBmp(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.bmp", data, size);
}
int fuzzGif(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.gif", data, size);
}
int fuzzIco(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.ico", data, size);
}
int fuzzJp2(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.jp2", data, size);
}
int fuzzJ2k(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.j2k", data, size);
}
int fuzzOkav(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.okav", data, size);
}
int fuzzOkavGz(const std::uint8_t* data, std::size_t size) {
    return loadImage("input.okav.gz", data, size);
}

} // namespace pxmfuzz
