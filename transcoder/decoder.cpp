#include "transcoder/decoder.h"

namespace calyx_transcoder {

calyx_av::CodecPtr OpenDecoder(const AVStream* stream, int threads, std::string& error) {
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) {
        error = std::string("no decoder for ") + avcodec_get_name(stream->codecpar->codec_id);
        return nullptr;
    }
    calyx_av::CodecPtr context(avcodec_alloc_context3(codec));
    if (!context) {
        error = "out of memory";
        return nullptr;
    }
    int rc = avcodec_parameters_to_context(context.get(), stream->codecpar);
    if (rc >= 0) {
        context->pkt_timebase = stream->time_base;
        context->thread_count = threads;
        rc = avcodec_open2(context.get(), codec, nullptr);
    }
    if (rc < 0) {
        error = std::string("cannot open the ") + codec->name +
                " decoder: " + calyx_av::AvErrorText(rc);
        return nullptr;
    }
    return context;
}

}  // namespace calyx_transcoder
