#include "movieerror.h"

#include "common/avhandles.h"

MovieError MovieError::ofLibav(int result)
{
    switch (result) {
    case AVERROR(EIO):
    case AVERROR(EPERM): return {Kind::Unreadable, avErrorText(result)};
    case AVERROR(ENOMEM):
    case AVERROR_EXIT: return {Kind::Exhausted, avErrorText(result)};
    case AVERROR_DECODER_NOT_FOUND:
    case AVERROR_PATCHWELCOME:
    case AVERROR(ENOSYS): return {Kind::Unsupported, avErrorText(result)};
    default: return {Kind::NoMovie, avErrorText(result)};
    }
}
