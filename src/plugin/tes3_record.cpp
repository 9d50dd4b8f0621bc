#include "plugin/tes3_record.h"

#include "plugin/bytes.h"

namespace glintbook::plugin {

Record::Record(std::string_view tag) : tag_(tag) {}

Record& Record::sub(std::string_view tag, std::string_view data) {
    data_ += Bytes().fixed(tag, 4).u32(std::uint32_t(data.size())).text(data).str();
    return *this;
}

Record& Record::text(std::string_view tag, std::string_view value) {
    return sub(tag, std::string(value) + '\0');
}

std::string Record::bytes() const {
    return Bytes().fixed(tag_, 4).u32(std::uint32_t(data_.size())).u32(0).u32(0).text(data_).str();
}

}  // namespace glintbook::plugin
