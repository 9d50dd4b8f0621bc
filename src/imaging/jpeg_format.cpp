// The JPEG reader on Linux: libjpeg-turbo from memory, with its accurate
// integer transform. libjpeg reports an error by calling back, and does not
// return; the callback jumps back to the one function below that set the
// jump, which holds nothing a jump could leak, and the failure is thrown
// from its caller. Every warning counts as damage: libjpeg would otherwise
// fill a cut file with grey, or decode past a corrupt stretch, and carry on.
#include "imaging/jpeg_format.h"

#include "imaging/picture_readers.h"

#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <algorithm>
#include <memory>
#include <stdexcept>

#include <jpeglib.h>
#include <jerror.h>

namespace glintbook::jpeg {

namespace {

// A progressive file may ask for any number of scans, each a pass over the
// whole picture: far more than any encoder writes is refused.
constexpr int kMaxScans = 256;

struct Errors {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX + 16];  // "damaged: " and libjpeg's text
};

// The reason, in the words the Windows reader uses for the same faults.
[[noreturn]] void Fail(j_common_ptr c) {
    auto* e = reinterpret_cast<Errors*>(c->err);
    const int code = c->err->msg_code;
    if (code == JWRN_JPEG_EOF) {
        std::snprintf(e->message, sizeof e->message, "cut short before its end-of-image marker");
    } else if (code == JERR_BAD_PRECISION) {
        std::snprintf(e->message, sizeof e->message, "not 8 bits a sample");
    } else if (code == JERR_EMPTY_IMAGE) {
        std::snprintf(e->message, sizeof e->message, "no pixels");
    } else {
        char text[JMSG_LENGTH_MAX];
        c->err->format_message(c, text);
        std::snprintf(e->message, sizeof e->message, "damaged: %s", text);
    }
    std::longjmp(e->jump, 1);
}

void Message(j_common_ptr c, int level) {
    if (level < 0) Fail(c);  // a warning: data that is corrupt or cut short
}

void Quiet(j_common_ptr) {}

void Progress(j_common_ptr c) {
    auto* d = reinterpret_cast<j_decompress_ptr>(c);
    if (d->input_scan_number > kMaxScans) {
        auto* e = reinterpret_cast<Errors*>(c->err);
        std::snprintf(e->message, sizeof e->message, "more than %d scans", kMaxScans);
        std::longjmp(e->jump, 1);
    }
}

struct Decoder {
    jpeg_decompress_struct info{};
    Errors errors{};
    jpeg_progress_mgr progress{};
    const char* refusal = nullptr;  // set instead of decoding
    size_t trailing = 0;            // bytes after the end-of-image marker
    bool created = false;
    ~Decoder() {
        if (created) jpeg_destroy_decompress(&info);
    }
};

// The three steps of a decode, each false after an error, whose text is in
// d.errors.message. No object with a destructor lives in their frames: the
// jump back may come from anywhere inside libjpeg.

// Reads the header and starts the decompression (or sets d.refusal).
bool Start(Decoder& d, const std::uint8_t* data, size_t size, const std::string& name) {
    jpeg_decompress_struct& info = d.info;
    info.err = jpeg_std_error(&d.errors.manager);
    d.errors.manager.error_exit = Fail;
    d.errors.manager.emit_message = Message;
    d.errors.manager.output_message = Quiet;
    if (setjmp(d.errors.jump)) return false;
    jpeg_create_decompress(&info);
    d.created = true;
    d.progress.progress_monitor = Progress;
    info.progress = &d.progress;
    jpeg_mem_src(&info, data, static_cast<unsigned long>(size));
    jpeg_read_header(&info, TRUE);
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        d.refusal = "CMYK: only YCbCr and greyscale JPEG is read";
        return true;
    }
    pictures::CheckSize(info.image_width, info.image_height, name);  // throws, between libjpeg's calls
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    // Fuzzing: a picture over 64 x 64 runs the same code as a small one, only
    // many times longer (seconds, for a large arithmetic-coded one).
    if (std::int64_t(info.image_width) * info.image_height > 4096) {
        d.refusal = "larger than the fuzzing build decodes";
        return true;
    }
#endif
    info.out_color_space = JCS_EXT_RGBX;  // red, green, blue, 0xFF: a Colour with its top byte set
    info.dct_method = JDCT_ISLOW;
    info.do_fancy_upsampling = TRUE;
    jpeg_start_decompress(&info);
    return true;
}

// The next `count` rows into `out`.
bool Scan(Decoder& d, Colour* out, int count) {
    jpeg_decompress_struct& info = d.info;
    if (setjmp(d.errors.jump)) return false;
    const size_t w = info.output_width;
    for (int done = 0; done < count;) {
        JSAMPROW rows[16];
        const int n = std::min(16, count - done);
        for (int i = 0; i < n; ++i) rows[i] = reinterpret_cast<JSAMPROW>(out + size_t(done + i) * w);
        const JDIMENSION got = jpeg_read_scanlines(&info, rows, JDIMENSION(n));
        Colour* c = out + size_t(done) * w;
        for (size_t i = 0, end = size_t(got) * w; i < end; ++i) c[i] &= 0xFFFFFF;
        done += int(got);
    }
    return true;
}

// After the last row: to the end-of-image marker, for damage after the last
// row still counts.
bool Finish(Decoder& d) {
    if (setjmp(d.errors.jump)) return false;
    jpeg_finish_decompress(&d.info);
    d.trailing = d.info.src->bytes_in_buffer;
    return true;
}

// What follows the end-of-image marker, once Finish has found it.
void CheckTrailing(const Decoder& d, std::string_view bytes, const std::string& name) {
    if (!OnlyPadding(bytes.substr(bytes.size() - d.trailing))) pictures::Invalid(name, "damaged: data after its end-of-image marker");
}

std::unique_ptr<Decoder> Started(std::string_view bytes, const std::string& name) {
    if (!IsJpeg(bytes)) pictures::Invalid(name, "not a JPEG file");
    auto d = std::make_unique<Decoder>();
    if (!Start(*d, pictures::Bytes(bytes), bytes.size(), name)) pictures::Invalid(name, d->errors.message);
    if (d->refusal) pictures::Invalid(name, d->refusal);
    return d;
}

class JpegRows final : public pictures::RowSource {
public:
    JpegRows(std::string_view bytes, std::shared_ptr<const void> keep, const std::string& name)
        : keep_(std::move(keep)), bytes_(bytes), name_(name), d_(Started(bytes, name)) {
        width_ = int(d_->info.output_width);
        height_ = int(d_->info.output_height);
    }
    bool AnyOrder() const override { return false; }
    void Read(int first, int count, Colour* out) override {
        if (first != int(d_->info.output_scanline)) throw std::logic_error("JPEG rows read out of order");
        if (!Scan(*d_, out, count)) pictures::Invalid(name_, d_->errors.message);
        if (first + count < height_) return;
        if (!Finish(*d_)) pictures::Invalid(name_, d_->errors.message);
        CheckTrailing(*d_, bytes_, name_);
    }

private:
    std::shared_ptr<const void> keep_;
    std::string_view bytes_;
    std::string name_;
    std::unique_ptr<Decoder> d_;
};

}  // namespace

Picture Decode(std::string_view bytes, const std::string& name) {
    const auto d = Started(bytes, name);
    Picture picture = pictures::Blank(int(d->info.output_width), int(d->info.output_height));
    if (!Scan(*d, picture.pixels.data(), picture.height) || !Finish(*d)) pictures::Invalid(name, d->errors.message);
    CheckTrailing(*d, bytes, name);
    return picture;
}

std::unique_ptr<pictures::RowSource> Rows(std::string_view bytes, std::shared_ptr<const void> keep, const std::string& name) {
    return std::make_unique<JpegRows>(bytes, std::move(keep), name);
}

}  // namespace glintbook::jpeg
