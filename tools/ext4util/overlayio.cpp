#include "overlayio.h"

#include "cardview.h"
#include <cstring>
#include <limits>
#include <new>

namespace {

const CardView *currentView = nullptr;

struct Channel {
    struct_io_channel io;
    const CardView *view;
};

constexpr int firstBlockSize = 1024; // until libext2fs knows better

extern struct struct_io_manager manager;

errcode_t openChannel(const char * /*name*/, int /*flags*/, io_channel *result)
{
    auto *channel = new (std::nothrow) Channel{};
    if (channel == nullptr)
        return EXT2_ET_NO_MEMORY;
    channel->view = currentView;
    channel->io.magic = EXT2_ET_MAGIC_IO_CHANNEL;
    channel->io.manager = &manager;
    channel->io.block_size = firstBlockSize;
    channel->io.refcount = 1;
    channel->io.private_data = channel;
    // libext2fs prints no name, but some of its branches copy it.
    static char name[] = "card";
    channel->io.name = name;
    *result = &channel->io;
    return 0;
}

errcode_t closeChannel(io_channel io)
{
    if (--io->refcount <= 0)
        delete static_cast<Channel *>(io->private_data);
    return 0;
}

errcode_t setBlockSize(io_channel io, int size)
{
    if (size <= 0)
        return EXT2_ET_INVALID_ARGUMENT;
    io->block_size = size;
    return 0;
}

/// A negative count is one of bytes.
errcode_t readBlocks64(io_channel io, unsigned long long block, int count, void *data)
{
    const auto size = static_cast<std::uint64_t>(io->block_size);
    const std::uint64_t bytes = count < 0 ? static_cast<std::uint64_t>(-static_cast<std::int64_t>(count))
                                          : static_cast<std::uint64_t>(count) * size;
    const std::span<std::byte> into(static_cast<std::byte *>(data), bytes);
    const bool isOverflow = block > std::numeric_limits<std::uint64_t>::max() / 2 / size;
    if (!isOverflow && static_cast<Channel *>(io->private_data)->view->read(block * size, into))
        return 0;
    std::memset(data, 0, bytes);
    return EXT2_ET_SHORT_READ;
}

errcode_t readBlocks(io_channel io, unsigned long block, int count, void *data)
{
    return readBlocks64(io, block, count, data);
}

errcode_t refuseWrite(io_channel, unsigned long, int, const void *) { return EXT2_ET_RO_FILSYS; }
errcode_t refuseWrite64(io_channel, unsigned long long, int, const void *) { return EXT2_ET_RO_FILSYS; }
errcode_t nothingToFlush(io_channel) { return 0; }
errcode_t refuseOption(io_channel, const char *, const char *) { return EXT2_ET_INVALID_ARGUMENT; }

struct struct_io_manager manager = {
    .magic = EXT2_ET_MAGIC_IO_MANAGER,
    .name = "card overlay",
    .open = openChannel,
    .close = closeChannel,
    .set_blksize = setBlockSize,
    .read_blk = readBlocks,
    .write_blk = refuseWrite,
    .flush = nothingToFlush,
    .write_byte = refuseWrite,
    .set_option = refuseOption,
    .get_stats = nullptr,
    .read_blk64 = readBlocks64,
    .write_blk64 = refuseWrite64,
    .discard = nullptr,
    .cache_readahead = nullptr,
    .zeroout = nullptr,
    .reserved = {},
};

} // namespace

io_manager overlayManager(const CardView &view)
{
    currentView = &view;
    return &manager;
}
