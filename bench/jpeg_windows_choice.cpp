// The Windows program's JPEG decoder, chosen by measurement: Windows' own
// WIC and stb_image (Debian's libstb-dev, a header), each timed on the same
// files and held to the reference decode beside each file (libjpeg-turbo's
// accurate integer transform, djpeg -dct int, as a binary PPM), with the
// program's own jpeg::Decode beside them. Built for Windows only; run under
// Wine by bench/run, or on Windows.
//   glintbook_jpeg_windows_choice RUNS FILE.jpg...   (FILE.ppm beside each)
#include "imaging/jpeg_format.h"
#include "imaging/picture_io.h"
#include "platform/files.h"

#include <windows.h>
#include <wincodec.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using glintbook::Colour;
using glintbook::Picture;

namespace {

Picture Ppm(const std::string& bytes) {
    std::istringstream in(bytes);
    std::string magic;
    int w = 0, h = 0, top = 0;
    in >> magic >> w >> h >> top;
    in.get();
    Picture p{w, h, glintbook::Pixels(size_t(w) * size_t(h), 0)};
    for (Colour& c : p.pixels) {
        unsigned char rgb[3] = {};
        in.read(reinterpret_cast<char*>(rgb), 3);
        c = rgb[0] | Colour(rgb[1]) << 8 | Colour(rgb[2]) << 16;
    }
    return p;
}

template <class T>
struct Com {
    T* p = nullptr;
    ~Com() {
        if (p) p->Release();
    }
};

Picture Wic(const std::string& bytes) {
    static IWICImagingFactory* factory = [] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        IWICImagingFactory* f = nullptr;
        CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                         reinterpret_cast<void**>(&f));
        return f;
    }();
    Com<IWICStream> stream;
    Com<IWICBitmapDecoder> decoder;
    Com<IWICBitmapFrameDecode> frame;
    Com<IWICFormatConverter> converter;
    UINT w = 0, h = 0;
    if (!factory || FAILED(factory->CreateStream(&stream.p)) ||
        FAILED(stream.p->InitializeFromMemory(reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data())), DWORD(bytes.size()))) ||
        FAILED(factory->CreateDecoderFromStream(stream.p, nullptr, WICDecodeMetadataCacheOnDemand, &decoder.p)) ||
        FAILED(decoder.p->GetFrame(0, &frame.p)) || FAILED(frame.p->GetSize(&w, &h)) ||
        FAILED(factory->CreateFormatConverter(&converter.p)) ||
        FAILED(converter.p->Initialize(frame.p, GUID_WICPixelFormat32bppBGR, WICBitmapDitherTypeNone, nullptr, 0,
                                       WICBitmapPaletteTypeCustom)))
        return {};
    Picture p{int(w), int(h), glintbook::Pixels(size_t(w) * size_t(h), 0)};
    if (FAILED(converter.p->CopyPixels(nullptr, w * 4, w * h * 4, reinterpret_cast<BYTE*>(p.pixels.data())))) return {};
    for (Colour& c : p.pixels) c = (c >> 16 & 0xFF) | (c & 0xFF00) | (c & 0xFF) << 16;  // B, G, R, X to 0x00BBGGRR
    return p;
}

// Largest channel difference, and pixels that differ at all.
std::pair<int, long> Distance(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height) return {-1, -1};
    int most = 0;
    long differ = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i) {
        differ += a.pixels[i] != b.pixels[i];
        for (int s : {0, 8, 16}) most = std::max(most, std::abs(int(a.pixels[i] >> s & 0xFF) - int(b.pixels[i] >> s & 0xFF)));
    }
    return {most, differ};
}

double MedianMs(const std::function<void()>& run, int runs) {
    std::vector<double> ms;
    run();
    for (int i = 0; i < runs; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        run();
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: glintbook_jpeg_windows_choice RUNS FILE.jpg...\n");
        return 2;
    }
    glintbook::KeepPictureMemory();
    const int runs = std::max(1, std::atoi(argv[1]));
    std::printf("| file | size | WIC ms | WIC max distance / pixels differing | stb_image ms | stb_image max distance / "
                "pixels differing | jpeg::Decode ms | jpeg::Decode max distance |\n|---|---|---:|---:|---:|---:|---:|---:|\n");
    for (int i = 2; i < argc; ++i) {
        const std::string path = argv[i];
        const std::string bytes = glintbook::files::ReadFile(path);
        const Picture reference = Ppm(glintbook::files::ReadFile(path.substr(0, path.size() - 4) + ".ppm"));
        Picture wic, stb, ours;
        const double wicMs = MedianMs([&] { wic = Wic(bytes); }, runs);
        const double stbMs = MedianMs([&] { stb = glintbook::jpeg::DecodeWithStbImage(bytes); }, runs);
        double oursMs = -1;
        std::pair<int, long> oursD{-1, -1};
        try {
            oursMs = MedianMs([&] { ours = glintbook::jpeg::Decode(bytes, path); }, runs);
            oursD = Distance(ours, reference);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), e.what());
        }
        const auto wicD = Distance(wic, reference), stbD = Distance(stb, reference);
        std::string name = path.substr(path.find_last_of("/\\") + 1);
        std::printf("| %s | %dx%d | %.2f | %d / %ld | %.2f | %d / %ld | %.2f | %d |\n", name.c_str(), reference.width,
                    reference.height, wicMs, wicD.first, wicD.second, stbMs, stbD.first, stbD.second, oursMs,
                    oursD.first);
    }
    return 0;
}
