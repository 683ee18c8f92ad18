#include "videodecodethread.h"

#include <algorithm>
#include <pthread.h>

extern "C" {
#include <libavutil/common.h>
}

namespace {

constexpr Nanoseconds hopelesslyLate = std::chrono::milliseconds(500);
constexpr int64_t pixelsForAllAhead = 2048LL * 1152; // larger pictures would take too much memory

} // namespace

VideoDecodeThread::VideoDecodeThread(std::shared_ptr<TrackReader> reader,
                                     std::shared_ptr<AVCodecContext> decoder, std::function<void()> notify)
    : m_reader(std::move(reader))
    , m_decoder(std::move(decoder))
    , m_notify(std::move(notify))
    , m_rotation(rotationOf(m_reader->stream()))
    , m_packet(av_packet_alloc())
    , m_decoded(av_frame_alloc())
{
    m_thread = std::thread([this] { run(); });
    pthread_setname_np(m_thread.native_handle(), "decode");
}

VideoDecodeThread::~VideoDecodeThread()
{
    m_reader->cancel();
    {
        const std::scoped_lock lock(m_mutex);
        m_isStopping = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void VideoDecodeThread::seek(Nanoseconds target, quint64 serial)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_seek = {.serial = serial, .target = target, .position = target};
    }
    m_changed.notify_one();
}

void VideoDecodeThread::runAhead()
{
    {
        const std::scoped_lock lock(m_mutex);
        if (m_seek.mayRunAhead)
            return;
        m_seek.mayRunAhead = true;
    }
    m_changed.notify_one();
}

bool VideoDecodeThread::isSupplied()
{
    const std::scoped_lock lock(m_mutex);
    const bool isSupplied = m_seek.state.isReady && (m_seek.state.end || m_frames.size() >= framesToStart);
    m_seek.mustTellSupply = !isSupplied;
    return isSupplied;
}

VideoFramePtr VideoDecodeThread::takeDue(Nanoseconds position)
{
    VideoFramePtr due;
    {
        const std::scoped_lock lock(m_mutex);
        m_seek.position = position;
        while (!m_frames.empty() && m_frames.front().picture->serial == m_seek.serial
               && (m_seek.isFirstFrame || m_frames.front().time <= position + sameTime)) {
            due = std::move(m_frames.front().picture);
            m_frames.pop_front();
            m_seek.isFirstFrame = false;
        }
    }
    if (due)
        m_changed.notify_one();
    return due;
}

std::optional<Nanoseconds> VideoDecodeThread::nextFrameTime() const
{
    const std::scoped_lock lock(m_mutex);
    if (m_frames.empty() || m_frames.front().picture->serial != m_seek.serial)
        return std::nullopt;
    return m_frames.front().time;
}

VideoDecodeThread::State VideoDecodeThread::state() const
{
    const std::scoped_lock lock(m_mutex);
    return m_seek.state;
}

void VideoDecodeThread::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_isStopping) {
        if (m_seek.serial != m_task.serial) {
            const Nanoseconds target = m_seek.target;
            const quint64 serial = m_seek.serial;
            lock.unlock();
            begin(target, serial);
            lock.lock();
        } else if (hasRoom()) {
            lock.unlock();
            decodeSome();
            lock.lock();
        } else {
            m_changed.wait(lock);
        }
    }
}

bool VideoDecodeThread::hasRoom() const
{
    if (m_run.isAtEnd)
        return false;
    const AVCodecParameters &codec = *m_reader->stream().codecpar;
    const bool isLarge = int64_t{codec.width} * codec.height > pixelsForAllAhead;
    return m_task.isSeeking
        || (m_seek.mayRunAhead && m_frames.size() < (isLarge ? framesToStart : framesAhead));
}

void VideoDecodeThread::begin(Nanoseconds target, quint64 serial)
{
    m_task = {.serial = serial, .target = m_reader->withinReadable(target)};
    if (reuseFrames(target, serial)) {
        m_task.isSeeking = false;
        return m_notify();
    }
    {
        const std::scoped_lock lock(m_mutex);
        m_frames.clear();
    }
    if (!isOnTheWayTo(m_task.target))
        jumpTo(m_task.target);
}

void VideoDecodeThread::jumpTo(Nanoseconds target)
{
    m_run = {.decodedUntil = m_reader->seekToKey(target)};
    avcodec_flush_buffers(m_decoder.get());
}

/// Whether the picture at the target comes if decoding goes on, and would come no sooner after a jump.
bool VideoDecodeThread::isOnTheWayTo(Nanoseconds target) const
{
    return !m_run.isAtEnd && !m_run.isDraining && m_run.decodedUntil
        && std::max(*m_run.decodedUntil, m_run.leftOutUntil) <= target + sameTime
        && m_reader->isInGroupOf(target);
}

/// A target among the frames that wait already, as a small step forward is.
bool VideoDecodeThread::reuseFrames(Nanoseconds target, quint64 serial)
{
    const std::scoped_lock lock(m_mutex);
    const auto shown = std::find_if(m_frames.begin(), m_frames.end(), [target](const Frame &frame) {
        return frame.time <= target + sameTime && frame.end > target + sameTime;
    });
    if (shown == m_frames.end() || serial != m_seek.serial)
        return false;
    m_frames.erase(m_frames.begin(), shown);
    for (Frame &frame : m_frames) {
        VideoFrame renewed = *frame.picture;
        renewed.serial = serial;
        frame.picture = std::make_shared<const VideoFrame>(std::move(renewed));
    }
    m_seek.state = {true, m_run.isAtEnd ? std::optional(m_reader->readUntil()) : std::nullopt};
    return true;
}

void VideoDecodeThread::decodeSome()
{
    const int result = avcodec_receive_frame(m_decoder.get(), m_decoded.get());
    if (result >= 0) {
        FramePtr decoded(av_frame_alloc());
        if (decoded)
            av_frame_move_ref(decoded.get(), m_decoded.get());
        else
            av_frame_unref(m_decoded.get());
        if (decoded)
            takeDecoded(std::move(decoded));
    } else if (result == AVERROR_EOF || m_run.isDraining) {
        finish();
    } else {
        feedDecoder();
    }
}

void VideoDecodeThread::feedDecoder()
{
    if (!m_reader->read(m_packet.get())) {
        m_run.isDraining = true;
        avcodec_send_packet(m_decoder.get(), nullptr);
        return;
    }
    if (!catchUp(*m_packet)) {
        chooseWhatToLeaveOut(*m_packet);
        avcodec_send_packet(m_decoder.get(), m_packet.get()); // a bad packet costs its picture, no more
    }
    av_packet_unref(m_packet.get());
}

/// Goes on from the next key frame if the channel is hopelessly late.
bool VideoDecodeThread::catchUp(const AVPacket &packet)
{
    const std::optional<Nanoseconds> position = playingPosition();
    if (!position || packet.pts == AV_NOPTS_VALUE
        || m_reader->timeOf(packet.pts) + hopelesslyLate >= *position)
        return false;
    // The index goes by decoding time: a jump may end before that key frame, and isn't worth a second one.
    const std::optional<Nanoseconds> key = m_reader->keyBetweenHereAnd(*position);
    if (!key || key == m_task.caughtUpTo)
        return false;
    m_task.caughtUpTo = key;
    jumpTo(*position);
    return true;
}

/// Pictures that nothing refers to and nobody will see: before the target, or while late.
void VideoDecodeThread::chooseWhatToLeaveOut(const AVPacket &packet)
{
    const Nanoseconds begin = m_reader->timeOf(packet.pts);
    const Nanoseconds end = m_reader->timeOf(av_sat_add64(packet.pts, packet.duration));
    const Nanoseconds interval = std::max(end - begin, Nanoseconds(1));
    const std::optional<Nanoseconds> position = playingPosition();
    const bool isBeforeTarget = m_task.isSeeking && end <= m_task.target + sameTime;
    const bool isLate = position && end + 2 * interval < *position;
    const bool isTimed = packet.pts != AV_NOPTS_VALUE && packet.duration > 0;
    const bool isLeftOut = m_run.mayLeaveOut && isTimed && (isBeforeTarget || isLate);
    m_decoder->skip_frame = isLeftOut ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    if (isLeftOut)
        m_run.leftOutUntil = std::max(m_run.leftOutUntil, end);
}

/// None while a seek is under way.
std::optional<Nanoseconds> VideoDecodeThread::playingPosition() const
{
    const std::scoped_lock lock(m_mutex);
    return m_task.isSeeking || m_task.serial != m_seek.serial ? std::nullopt : std::optional(m_seek.position);
}

void VideoDecodeThread::takeDecoded(FramePtr decoded)
{
    const int64_t shownAt = decoded->best_effort_timestamp;
    const Nanoseconds time =
        shownAt == AV_NOPTS_VALUE ? m_run.decodedUntil.value_or(Nanoseconds(0)) : m_reader->timeOf(shownAt);
    const Nanoseconds end = decoded->pkt_duration > 0 && shownAt != AV_NOPTS_VALUE
        ? m_reader->timeOf(av_sat_add64(shownAt, decoded->pkt_duration))
        : time;
    Decoded latest{std::move(decoded), time, std::max(time, end)};
    const bool isBeforeTarget = end <= m_task.target + sameTime && time < m_task.target;
    if (m_task.isSeeking && !isBeforeTarget) {
        const bool isBehindTarget = time > m_task.target + sameTime;
        if (isBehindTarget && mayHaveLeftOutTheTarget())
            return lookAgain();
        m_task.isSeeking = false;
        if (isBehindTarget && m_run.last.picture)
            push(m_run.last); // it is shown up to the latest one, however short it said it was
    }
    if (!m_task.isSeeking)
        push(latest);
    m_run.decodedUntil = std::max(m_run.decodedUntil.value_or(latest.end), latest.end);
    m_run.last = std::move(latest);
}

/// The target lies in a hole, and what was left out may be shown for longer than its packet said.
bool VideoDecodeThread::mayHaveLeftOutTheTarget() const
{
    return m_run.mayLeaveOut && m_run.last.picture && m_run.leftOutUntil > m_run.last.end;
}

void VideoDecodeThread::lookAgain()
{
    jumpTo(m_task.target);
    m_run.mayLeaveOut = false;
}

void VideoDecodeThread::push(const Decoded &decoded)
{
    const AVRational aspect = m_reader->sampleAspectRatio(decoded.picture.get());
    VideoFramePtr picture =
        m_converter.convert(*decoded.picture, aspect, m_rotation, toSeconds(decoded.time), m_task.serial);
    bool isNews = false;
    {
        const std::scoped_lock lock(m_mutex);
        if (m_task.serial != m_seek.serial)
            return;
        if (picture) {
            isNews = m_frames.empty();
            m_frames.push_back({decoded.time, decoded.end, std::move(picture)});
        }
        isNews |= !std::exchange(m_seek.state.isReady, true);
        if (m_seek.mustTellSupply && m_frames.size() >= framesToStart) {
            m_seek.mustTellSupply = false;
            isNews = true;
        }
    }
    if (isNews)
        m_notify();
}

void VideoDecodeThread::finish()
{
    if (m_task.isSeeking && mayHaveLeftOutTheTarget())
        return lookAgain();
    if (std::exchange(m_task.isSeeking, false) && m_run.last.picture)
        push(m_run.last); // a target behind the last picture shows that
    m_run.isAtEnd = true;
    {
        const std::scoped_lock lock(m_mutex);
        if (m_task.serial == m_seek.serial)
            m_seek.state = {true, m_reader->readUntil()};
    }
    m_notify();
}
