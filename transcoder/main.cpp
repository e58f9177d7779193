// calyx-transcode: the transcoding worker of calyx-dms. The server starts one per
// transcoded response (by exec, so that libav's threads and any crash stay out of the
// server) and reads the stream from its standard output.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

#include <string>

#include "transcoder/encoder_args.h"
#include "transcoder/muxer.h"
#include "transcoder/transcode.h"

namespace {

const char kUsage[] =
    "Usage: calyx-transcode --input FILE --args \"ENCODER ARGS\" [--start SECONDS] [--end "
    "SECONDS]\n"
    "                       [--verbose]\n"
    "Transcodes FILE as ENCODER ARGS say (the grammar of calyx-dms's table of transcoding\n"
    "targets) and writes to standard output one status line (\"ok start=S duration=D\" or\n"
    "\"error REASON\") followed by the stream. Exit status 0 when the stream is complete.\n";

bool ReadSeconds(const char* text, double& out) {
    char* end = nullptr;
    out = strtod(text, &end);
    return end != text && *end == '\0' && out >= 0 && out < 1e7;
}

}  // namespace

int main(int argc, char** argv) {
    calyx_transcoder::TranscodeRequest request;
    std::string args;
    bool verbose = false;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--help" || name == "-h") {
            fputs(kUsage, stdout);
            return 0;
        }
        if (name == "--verbose") {
            verbose = true;
            continue;
        }
        if (i + 1 >= argc) {
            fprintf(stderr, "calyx-transcode: %s needs a value\n%s", name.c_str(), kUsage);
            return 2;
        }
        const char* value = argv[++i];
        bool ok = true;
        if (name == "--input")
            request.input = value;
        else if (name == "--args")
            args = value;
        else if (name == "--start")
            ok = ReadSeconds(value, request.start);
        else if (name == "--end")
            ok = ReadSeconds(value, request.end);
        else
            ok = false;
        if (!ok) {
            fprintf(stderr, "calyx-transcode: bad argument %s %s\n%s", name.c_str(), value, kUsage);
            return 2;
        }
    }
    std::string error;
    if (request.input.empty() || !calyx_transcoder::ParseEncoderArgs(args, request.args, error)) {
        fprintf(stderr, "calyx-transcode: %s\n%s",
                error.empty() ? "--input and --args are needed" : error.c_str(), kUsage);
        return 2;
    }
    if (request.end >= 0 && request.end <= request.start) {
        fprintf(stderr, "calyx-transcode: --end must lie after --start\n");
        return 2;
    }
    // A worker outlives no server: its output would have no reader.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The reader going away must end the worker with an error, not a signal.
    signal(SIGPIPE, SIG_IGN);
    av_log_set_level(verbose ? AV_LOG_INFO : AV_LOG_FATAL);
    if (!calyx_transcoder::Transcode(request, STDOUT_FILENO, error)) {
        // A reader that left (the client stopped playing) is no failure worth a word.
        if (error != calyx_transcoder::kReaderGone)
            fprintf(stderr, "calyx-transcode: %s: %s\n", request.input.c_str(), error.c_str());
        return 1;
    }
    return 0;
}
