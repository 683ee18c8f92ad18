#pragma once

#include "common/mappedfile.h"
#include "reading/bytes.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

/// Writes a recording byte by byte, with pictures of H.264 whose slice headers are right and whose contents
/// are chance. Remembers where each picture of each channel stands.
class SyntheticRecording
{
public:
    struct Place {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        bool operator==(const Place &) const = default;
    };
    std::vector<std::vector<Place>> pictures;

    explicit SyntheticRecording(std::size_t channelCount);

    [[nodiscard]] std::uint64_t size() const { return m_bytes.size(); }
    [[nodiscard]] std::vector<std::uint8_t> &bytes() { return m_bytes; }
    /// The file that is written so far, or its beginning.
    [[nodiscard]] MappedFile file() const { return file(m_bytes.size()); }
    [[nodiscard]] MappedFile file(std::size_t length) const;

    /// The next picture of a channel: a key picture every `group` ones, frame_num of 4 bits.
    void addPicture(std::size_t channel, std::size_t contentSize, unsigned pictureSetId = 0,
                    unsigned group = 30);
    /// One picture of each channel; those of later channels are smaller.
    void addTurn(std::size_t contentSize);
    /// An accelerometer block of that second of the day.
    void addBlock(unsigned second, unsigned day = 9);
    void addChance(std::size_t size);
    void addZeros(std::size_t size) { m_bytes.resize(m_bytes.size() + size); }
    void addPadding(std::size_t alignment);
    void addText(const std::string &text) { m_bytes.insert(m_bytes.end(), text.begin(), text.end()); }
    void addNumber(std::uint32_t number);
    /// A raw AAC frame of one channel, as far as its first bits go.
    void addAac(std::size_t size);

private:
    std::uint8_t chanceByte();

    std::vector<std::uint8_t> m_bytes;
    std::vector<unsigned> m_numbers; ///< pictures of each channel so far
    std::mt19937 m_dice{1};
};
