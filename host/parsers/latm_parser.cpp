#include "host/parsers/latm_parser.h"

#include "core/bit_reader.h"

namespace {

constexpr uint32_t kLoasSync = 0x2B7;  // 11 bits
constexpr size_t kLoasHeader = 3;      // sync word and 13-bit frame length
// A stream without a LOAS frame in this many bytes is not kept waiting for.
constexpr size_t kMaxPending = 1 << 16;

// LatmGetValue(): a byte count, then that many bytes plus one.
uint32_t latmValue(BitReader& bits)
{
    int bytes = int(bits.get(2));
    uint32_t value = 0;
    for (int i = 0; i <= bytes; ++i)
        value = (value << 8) | bits.get(8);
    return value;
}

int objectType(BitReader& bits)
{
    int type = int(bits.get(5));
    return type == 31 ? 32 + int(bits.get(6)) : type;
}

void skipSamplingFrequency(BitReader& bits)
{
    if (bits.get(4) == 0xF)
        bits.skip(24);
}

// program_config_element(): only its length matters here. Its byte alignment
// counts from the start of the AudioSpecificConfig.
void skipProgramConfig(BitReader& bits, size_t configStart)
{
    bits.skip(4 + 2 + 4);  // element tag, object type, sampling frequency index
    int front = int(bits.get(4)), side = int(bits.get(4)), back = int(bits.get(4));
    int lfe = int(bits.get(2)), assoc = int(bits.get(3)), cc = int(bits.get(4));
    for (int i = 0; i < 2; ++i)  // mono and stereo mixdown
        if (bits.get(1))
            bits.skip(4);
    if (bits.get(1))  // matrix mixdown
        bits.skip(3);
    bits.skip(5 * (front + side + back) + 4 * (lfe + assoc) + 5 * cc);
    size_t used = bits.bitPosition() - configStart;
    bits.skip(int((8 - used % 8) % 8));
    bits.skip(8 * int(bits.get(8)));  // comment
}

// AudioSpecificConfig() without the trailing SBR sync extension, whose end
// only a known length tells; false for object types it cannot measure.
bool skipAudioSpecificConfig(BitReader& bits)
{
    size_t start = bits.bitPosition();
    int type = objectType(bits);
    skipSamplingFrequency(bits);
    int channelConfiguration = int(bits.get(4));
    if (type == 5 || type == 29) {  // explicit SBR (and PS): the core follows
        skipSamplingFrequency(bits);
        type = objectType(bits);
    }
    switch (type) {
        case 1:
        case 2:
        case 3:
        case 4:
        case 6:
        case 7:
        case 17:
        case 19:
        case 20:
        case 21:
        case 22:
        case 23:
            break;
        default:
            return false;
    }
    // GASpecificConfig()
    bits.skip(1);     // frame length flag
    if (bits.get(1))  // depends on core coder
        bits.skip(14);
    bool extension = bits.get(1);
    if (channelConfiguration == 0)
        skipProgramConfig(bits, start);
    if (type == 6 || type == 20)
        bits.skip(3);
    if (extension) {
        if (type == 22)
            bits.skip(5 + 11);
        if (type == 17 || type == 19 || type == 20 || type == 23)
            bits.skip(3);
        bits.skip(1);
    }
    if (type >= 17 && type <= 27 && bits.get(2) >= 2)
        return false;  // error protection configuration: not carried here
    return !bits.overrun();
}

// Copies `bitCount` bits from `bits` into whole bytes, zero-padded.
std::vector<uint8_t> copyBits(BitReader& bits, size_t bitCount)
{
    std::vector<uint8_t> out((bitCount + 7) / 8, 0);
    for (size_t i = 0; i < bitCount; ++i)
        if (bits.get(1))
            out[i / 8] |= uint8_t(0x80 >> (i % 8));
    return out;
}

}  // namespace

void LatmParser::push(const uint8_t* data, size_t size)
{
    pending_.insert(pending_.end(), data, data + size);
    readFrames();
}

bool LatmParser::next(std::vector<uint8_t>& unit)
{
    if (units_.empty())
        return false;
    unit = std::move(units_.front());
    units_.pop_front();
    return true;
}

void LatmParser::readFrames()
{
    size_t offset = 0;
    while (pending_.size() - offset >= kLoasHeader) {
        const uint8_t* p = pending_.data() + offset;
        if (((uint32_t(p[0]) << 3) | (p[1] >> 5)) != kLoasSync) {
            ++offset;
            continue;
        }
        size_t length = (size_t(p[1] & 0x1F) << 8) | p[2];
        if (pending_.size() - offset < kLoasHeader + length)
            break;
        if (!readAudioMuxElement(p + kLoasHeader, length))
            ++dropped_;
        offset += kLoasHeader + length;
    }
    pending_.erase(pending_.begin(), pending_.begin() + long(offset));
    if (pending_.size() > kMaxPending)
        pending_.clear();
}

bool LatmParser::readAudioMuxElement(const uint8_t* data, size_t size)
{
    BitReader bits(data, size);
    if (!bits.get(1)) {  // useSameStreamMux clear: a StreamMuxConfig follows
        haveConfig_ = false;
        int audioMuxVersion = int(bits.get(1));
        if (audioMuxVersion && bits.get(1))
            return false;  // audioMuxVersionA 1 is reserved
        if (audioMuxVersion)
            latmValue(bits);  // taraBufferFullness
        if (!bits.get(1))
            return false;  // streams on different time framing
        numSubFrames_ = int(bits.get(6));
        if (bits.get(4) != 0 || bits.get(3) != 0)
            return false;  // more than one program or layer
        std::vector<uint8_t> config;
        if (audioMuxVersion) {
            // The configuration's length is given: it is copied whole, with
            // any SBR sync extension it carries.
            uint32_t length = latmValue(bits);
            if (length > 8 * size)
                return false;
            config = copyBits(bits, length);
        } else {
            size_t start = bits.bitPosition();
            BitReader measure = bits;
            if (!skipAudioSpecificConfig(measure))
                return false;
            config = copyBits(bits, measure.bitPosition() - start);
        }
        frameLengthType_ = int(bits.get(3));
        if (frameLengthType_ != 0)
            return false;  // fixed or CELP/HVXC frame lengths: not AAC as broadcast
        bits.skip(8);      // latmBufferFullness
        otherDataPresent_ = bits.get(1);
        otherDataBits_ = 0;
        if (otherDataPresent_) {
            if (audioMuxVersion) {
                otherDataBits_ = latmValue(bits);
            } else {
                bool escape;
                do {
                    escape = bits.get(1);
                    otherDataBits_ = (otherDataBits_ << 8) | bits.get(8);
                } while (escape && !bits.overrun());
            }
        }
        if (bits.get(1))  // crcCheckPresent
            bits.skip(8);
        if (bits.overrun() || config.empty())
            return false;
        config_ = std::move(config);
        haveConfig_ = true;
    }
    if (!haveConfig_)
        return false;  // no StreamMuxConfig seen yet

    for (int frame = 0; frame <= numSubFrames_; ++frame) {
        size_t length = 0;
        uint32_t piece;
        do {
            piece = bits.get(8);
            length += piece;
        } while (piece == 255 && !bits.overrun());
        if (bits.overrun() || 8 * length > 8 * size - bits.bitPosition())
            return false;
        units_.push_back(copyBits(bits, 8 * length));
    }
    return true;
}
