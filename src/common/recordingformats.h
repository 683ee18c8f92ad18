#pragma once

/// What recordings come in, whatever their suffix, as libavformat names it. None of these formats fetches
/// from elsewhere, as playlists and scripts would: a card offers any file it likes under a recording's name.
inline constexpr char recordingFormats[] = "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm";
