#pragma once

#include <ext2fs/ext2fs.h>

class CardView;

/// Lets libext2fs read a CardView, and write nothing. One view at a time: libext2fs hands on no more than a
/// name when it opens a channel, so the view is set before. It must outlive the file systems opened on it.
io_manager overlayManager(const CardView &view);
