// SPDX-License-Identifier: MIT
#include "platform/io/ImageCodecTable.h"

#include "platform/io/Jpeg2000Codec.h"
#include "platform/io/NetpbmCodec.h"
#include "platform/io/OkavCodec.h"
#include "platform/io/QtImageCodec.h"
#include "platform/io/TiffCodec.h"

#include <memory>

namespace KYVO {
namespace io {

namespace {

std::vector<std::unique_ptr<ImageCodec>> makeCodecs() {
    std::vector<std::unique_ptr<ImageCodec>> c;
    c.push_back(std::make_unique<NetpbmCodec>(NetpbmCodec::Ppm));
    c.push_back(std::make_unique<NetpbmCodec>(NetpbmCodec::Pgm));
    c.push_back(std::make_unique<NetpbmCodec>(NetpbmCodec::Pbm));
    c.push_back(std::make_unique<NetpbmCodec>(NetpbmCodec::Pfm));
    c.push_back(std::make_unique<NetpbmCodec>(NetpbmCodec::Pam));
    //                                  name, Qt format, endings, writable, 16 bit, 1 bit, grey as palette
    c.push_back(std::make_unique<QtImageCodec>(
        QtImageCodec::Traits{"JPEG images", "jpeg", {".jpg", ".jpeg"}, true, false, false, false}));
    c.push_back(std::make_unique<Jpeg2000Codec>(true));
    c.push_back(std::make_unique<Jpeg2000Codec>(false));
    c.push_back(std::make_unique<QtImageCodec>(
        QtImageCodec::Traits{"BMP images", "bmp", {".bmp"}, true, false, true, true}));
    c.push_back(std::make_unique<TiffCodec>());
    c.push_back(std::make_unique<QtImageCodec>(
        QtImageCodec::Traits{"PNG images", "png", {".png"}, true, true, true, false}));
    c.push_back(std::make_unique<QtImageCodec>(
        QtImageCodec::Traits{"GIF images", "gif", {".gif"}, false, false, false, false}));
    c.push_back(std::make_unique<QtImageCodec>(
        QtImageCodec::Traits{"Icons", "ico", {".ico"}, true, false, false, false}));
    c.push_back(std::make_unique<OkavCodec>(false));
    c.push_back(std::make_unique<OkavCodec>(true));
    return c;
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

bool endsWithNoCase(const std::string& s, const std::string& ending) {
    if (ending.size() > s.size())
        return false;
    const std::size_t start = s.size() - ending.size();
    for (std::size_t i = 0; i < ending.size(); ++i)
        if (lower(s[start + i]) != ending[i])
            return false;
    return true;
}

} // namespace

const std::vector<const ImageCodec*>& ImageCodecTable::codecs() {
    static const std::vector<std::unique_ptr<ImageCodec>> owned = makeCodecs();
    static const std::vector<const ImageCodec*> view = [] {
        std::vector<const ImageCodec*> v;
        for (const auto& c : owned)
            v.push_back(c.get());
        return v;
    }();
    return view;
}

const ImageCodec* ImageCodecTable::forPath(const std::string& path) {
    const ImageCodec* best = nullptr;
    std::size_t bestLength = 0;
    for (const ImageCodec* codec : codecs()) {
        for (const std::string& ending : codec->endings()) {
            // ".okav.gz" wins over any shorter ending that also matches.
            if (ending.size() > bestLength && endsWithNoCase(path, ending)) {
                best = codec;
                bestLength = ending.size();
            }
        }
    }
    return best;
}

} // namespace io
} // namespace KYVO
