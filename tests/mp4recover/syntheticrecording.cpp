#include "syntheticrecording.h"

#include <cstdio>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Bits, highest first.
class Bits
{
public:
    void add(unsigned value, unsigned count)
    {
        for (unsigned i = count; i-- > 0;) {
            if (m_used % 8 == 0)
                m_bytes.push_back(0);
            m_bytes.back() |= static_cast<std::uint8_t>(((value >> i) & 1U) << (7 - m_used % 8));
            ++m_used;
        }
    }
    void addGolomb(unsigned value)
    {
        unsigned length = 0;
        while (((value + 1) >> (length + 1)) != 0)
            ++length;
        add(0, length);
        add(value + 1, length + 1);
    }
    [[nodiscard]] const std::vector<std::uint8_t> &bytes() const { return m_bytes; }

private:
    std::vector<std::uint8_t> m_bytes;
    unsigned m_used = 0;
};

} // namespace

SyntheticRecording::SyntheticRecording(std::size_t channelCount)
    : pictures(channelCount)
    , m_numbers(channelCount, 0)
{
}

MappedFile SyntheticRecording::file(std::size_t length) const
{
    const int memory = memfd_create("recording", MFD_CLOEXEC);
    if (memory < 0 || write(memory, m_bytes.data(), length) != static_cast<ssize_t>(length))
        throw std::runtime_error("no memory file");
    auto file = MappedFile::ofDescriptor(memory);
    close(memory);
    if (!file)
        throw std::runtime_error("no mapping");
    return std::move(*file);
}

void SyntheticRecording::addPicture(std::size_t channel, std::size_t contentSize, unsigned pictureSetId,
                                    unsigned group)
{
    const unsigned inGroup = m_numbers[channel]++ % group;
    const bool isKey = inGroup == 0;
    Bits header;
    header.add(isKey ? 0x65 : 0x41, 8);
    header.addGolomb(0); // first_mb_in_slice
    header.addGolomb(isKey ? 7 : 5); // slice_type: I or P
    header.addGolomb(pictureSetId);
    header.add(inGroup % 16, 4); // frame_num
    header.add(0x5a, 8);
    const Place place{m_bytes.size(), m_bytes.size() + 4 + header.bytes().size() + contentSize};
    addNumber(static_cast<std::uint32_t>(header.bytes().size() + contentSize));
    m_bytes.insert(m_bytes.end(), header.bytes().begin(), header.bytes().end());
    addChance(contentSize);
    pictures[channel].push_back(place);
}

void SyntheticRecording::addTurn(std::size_t contentSize)
{
    for (std::size_t channel = 0; channel < pictures.size(); ++channel)
        addPicture(channel, contentSize / (channel + 1));
}

void SyntheticRecording::addBlock(unsigned second, unsigned day)
{
    addText("SHO00015");
    for (const unsigned byte : {0U, 128U, 128U, 128U, 0U, 0U, 0U, 24U, 3U, day, second / 3600,
                                second / 60 % 60, second % 60, 0U, 0U})
        m_bytes.push_back(static_cast<std::uint8_t>(byte));
}

/// As coded pictures: no three bytes that a unit can't have, and no zero at the end.
std::uint8_t SyntheticRecording::chanceByte() { return static_cast<std::uint8_t>(1 + m_dice() % 255); }

void SyntheticRecording::addChance(std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        const bool mayBeZero = i % 3 == 0 && i + 1 < size;
        m_bytes.push_back(mayBeZero && m_dice() % 32 == 0 ? std::uint8_t{0} : chanceByte());
    }
}

void SyntheticRecording::addPadding(std::size_t alignment)
{
    m_bytes.resize((m_bytes.size() + alignment - 1) / alignment * alignment);
}

void SyntheticRecording::addNumber(std::uint32_t number)
{
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        m_bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

void SyntheticRecording::addAac(std::size_t size)
{
    for (const unsigned byte : {0x01U, 0x32U, 0x4cU})
        m_bytes.push_back(static_cast<std::uint8_t>(byte));
    addChance(size - 3);
}
