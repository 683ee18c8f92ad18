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
        m_wantedTarget = target;
        m_wantedSerial = serial;
        m_mayRunAhead = false;
        m_isFirstFrame = true;
        m_state.isReady = false;
        m_state.end.reset();
        m_position = target.count();
    }
    m_changed.notify_one();
}

void VideoDecodeThread::runAhead()
{
    {
        const std::scoped_lock lock(m_mutex);
        if (m_mayRunAhead)
            return;
        m_mayRunAhead = true;
    }
    m_changed.notify_one();
}

bool VideoDecodeThread::isSupplied()
{
    const std::scoped_lock lock(m_mutex);
    const bool isSupplied = m_state.isReady && (m_isAtEnd || m_frames.size() >= framesToStart);
    m_mustTellSupply = !isSupplied;
    return isSupplied;
}

VideoFramePtr VideoDecodeThread::takeDue(Nanoseconds position)
{
    VideoFramePtr due;
    {
        const std::scoped_lock lock(m_mutex);
        m_position = position.count();
        while (!m_frames.empty() && m_frames.front().picture->serial == m_wantedSerial
               && (m_isFirstFrame || m_frames.front().time <= position + sameTime)) {
            due = std::move(m_frames.front().picture);
            m_frames.pop_front();
            m_isFirstFrame = false;
        }
    }
    if (due)
        m_changed.notify_one();
    return due;
}

std::optional<Nanoseconds> VideoDecodeThread::nextFrameTime() const
{
    const std::scoped_lock lock(m_mutex);
    if (m_frames.empty() || m_frames.front().picture->serial != m_wantedSerial)
        return std::nullopt;
    return m_frames.front().time;
}

VideoDecodeThread::State VideoDecodeThread::state() const
{
    const std::scoped_lock lock(m_mutex);
    return m_state;
}

void VideoDecodeThread::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_isStopping) {
        if (m_wantedSerial != m_serving) {
            const Nanoseconds target = m_wantedTarget;
            const quint64 serial = m_wantedSerial;
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
    if (m_isAtEnd)
        return false;
    const AVCodecParameters &codec = *m_reader->stream().codecpar;
    const bool isLarge = int64_t{codec.width} * codec.height > pixelsForAllAhead;
    return m_isSeeking || (m_mayRunAhead && m_frames.size() < (isLarge ? framesToStart : framesAhead));
}

void VideoDecodeThread::begin(Nanoseconds target, quint64 serial)
{
    m_serving = serial;
    m_target = m_reader->withinReadable(target);
    m_candidate = {};
    if (reuseFrames(target, serial))
        return m_notify();
    bool isAtEnd = false;
    {
        const std::scoped_lock lock(m_mutex);
        m_frames.clear();
        isAtEnd = std::exchange(m_isAtEnd, false);
    }
    m_isSeeking = true;
    if (!isAtEnd && !m_isDraining && m_decodedUntil <= m_target + sameTime
        && m_reader->isOnTheWayTo(m_target))
        return;
    m_reader->seekToKey(m_target);
    avcodec_flush_buffers(m_decoder.get());
    m_isDraining = false;
}

/// A target among the frames that wait already, as a small step forward is.
bool VideoDecodeThread::reuseFrames(Nanoseconds target, quint64 serial)
{
    const std::scoped_lock lock(m_mutex);
    const auto shown = std::find_if(m_frames.begin(), m_frames.end(), [target](const Frame &frame) {
        return frame.time <= target + sameTime && frame.end > target + sameTime;
    });
    if (shown == m_frames.end() || serial != m_wantedSerial)
        return false;
    m_frames.erase(m_frames.begin(), shown);
    for (Frame &frame : m_frames) {
        VideoFrame renewed = *frame.picture;
        renewed.serial = serial;
        frame.picture = std::make_shared<const VideoFrame>(std::move(renewed));
    }
    m_isSeeking = false;
    m_state = {serial, true, m_isAtEnd ? std::optional(m_reader->readUntil()) : std::nullopt};
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
    } else if (result == AVERROR_EOF || m_isDraining) {
        finish();
    } else {
        feedDecoder();
    }
}

void VideoDecodeThread::feedDecoder()
{
    if (!m_reader->read(m_packet.get())) {
        m_isDraining = true;
        avcodec_send_packet(m_decoder.get(), nullptr);
        return;
    }
    keepUp(*m_packet);
    avcodec_send_packet(m_decoder.get(), m_packet.get()); // a bad packet costs its picture, no more
    av_packet_unref(m_packet.get());
}

/// Leaves out what nobody will see: pictures that nothing refers to, before the target or while late. A
/// channel that is hopelessly late goes on from its next key frame.
void VideoDecodeThread::keepUp(const AVPacket &packet)
{
    const Nanoseconds end = m_reader->timeOf(av_sat_add64(packet.pts, packet.duration));
    const Nanoseconds position(m_position);
    const Nanoseconds interval = std::max(end - m_reader->timeOf(packet.pts), Nanoseconds(1));
    const bool isTimed = packet.pts != AV_NOPTS_VALUE && packet.duration > 0;
    const bool isBeforeTarget = m_isSeeking && end <= m_target + sameTime;
    const bool isLate = !m_isSeeking && end + 2 * interval < position;
    m_decoder->skip_frame = isTimed && (isBeforeTarget || isLate) ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    if (isTimed && !m_isSeeking && end + hopelesslyLate < position
        && m_reader->hasKeyBetweenHereAnd(position)) {
        m_reader->seekToKey(position);
        avcodec_flush_buffers(m_decoder.get());
        av_packet_unref(m_packet.get());
        m_reader->read(m_packet.get());
    }
}

void VideoDecodeThread::takeDecoded(FramePtr decoded)
{
    const int64_t shownAt = decoded->best_effort_timestamp;
    const Nanoseconds time = shownAt == AV_NOPTS_VALUE ? m_decodedUntil : m_reader->timeOf(shownAt);
    const Nanoseconds end = decoded->pkt_duration > 0 && shownAt != AV_NOPTS_VALUE
        ? m_reader->timeOf(av_sat_add64(shownAt, decoded->pkt_duration))
        : time;
    m_decodedUntil = std::max(time, end);
    Candidate latest{std::move(decoded), time, end};
    if (!m_isSeeking)
        return push(latest);
    if (end <= m_target + sameTime && time + sameTime < m_target + sameTime) {
        m_candidate = std::move(latest);
        return;
    }
    m_isSeeking = false;
    if (time > m_target + sameTime && m_candidate.picture)
        push(m_candidate); // it is shown up to the latest one, however short it said it was
    m_candidate = {};
    push(latest);
}

void VideoDecodeThread::push(const Candidate &decoded)
{
    const AVRational aspect = m_reader->sampleAspectRatio(decoded.picture.get());
    VideoFramePtr picture =
        m_converter.convert(*decoded.picture, aspect, m_rotation, toSeconds(decoded.time), m_serving);
    bool isNews = false;
    {
        const std::scoped_lock lock(m_mutex);
        if (picture && m_serving == m_wantedSerial) {
            isNews = m_frames.empty();
            m_frames.push_back({decoded.time, decoded.end, std::move(picture)});
        }
        if (!m_state.isReady && m_serving == m_wantedSerial) {
            m_state.isReady = true;
            m_state.readySerial = m_serving;
            isNews = true;
        }
        if (m_mustTellSupply && m_frames.size() >= framesToStart) {
            m_mustTellSupply = false;
            isNews = true;
        }
    }
    if (isNews)
        m_notify();
}

void VideoDecodeThread::finish()
{
    m_isSeeking = false;
    if (m_candidate.picture)
        push(m_candidate); // a target behind the last picture shows that
    m_candidate = {};
    {
        const std::scoped_lock lock(m_mutex);
        m_isAtEnd = true;
        if (m_serving == m_wantedSerial)
            m_state = {m_serving, true, m_reader->readUntil()};
    }
    m_notify();
}
