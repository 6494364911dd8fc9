// jawslib: pictures of PostScript files, made by a service of its own outside the host.
//
// Client and service meet in two directories below a common one. A client puts a job, a file named by a UUID, into
// JawsServiceInput. The service writes the picture into JawsServiceOutput, under the name that the job asks for, and
// then removes the job: that is the sign that the client waits for. A job that can't be done is removed as well,
// without a picture.
//
// A job is a PostScript program after two lines of its own, "%!PS-Adobe-3.0" and "%%RasterInfo: PATH WIDTH HEIGHT
// DEPTH". It is enciphered in buffers of 65536 bytes by GOST 28147-89 in cipher feedback mode, each from the same
// initial register (jaws_cipher.h). One point of the program is one pixel, with the origin in the lower left corner.
//
// A picture is a TIFF of exactly the size asked for, in any orientation: 8 or 16 bits, three samples, or four with
// alpha and the colours multiplied by it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/rows.h"

inline constexpr char JAWS_INPUT[] = "JawsServiceInput", JAWS_OUTPUT[] = "JawsServiceOutput";
inline constexpr int JAWS_LEAST_SIDE = 4, JAWS_MOST_SIDE = 4096;  // of a picture, pixels
inline constexpr int JAWS_LEAST_DEPTH = 1, JAWS_MOST_DEPTH = 64;

// Where both directories are unless somebody says otherwise: the data directory, or the home directory where that one
// can't be written.
std::string jaws_base_directory();

bool is_uuid(std::string_view name);  // 8-4-4-4-12 hexadecimal digits

// ---- Jobs -------------------------------------------------------------------------------------------------------

struct JawsRequest {
    std::string picture = {};  // the path of the TIFF to be made
    int width = 720, height = 576;
    int depth = 4;  // (depth + 1)^2 samples a pixel up to 4; more are rendered as 4
};

// The line without its end.
std::string raster_info_line(const JawsRequest& request);
// False for anything that is no such line. Paths may have blanks; the numbers are as they stand.
bool parse_raster_info(std::string_view line, JawsRequest* request);

enum class JawsJob { Done, NoScript, NoJob, Broken };
// Enciphers a script, after the request's lines if there is one, into a file that must not exist yet. What can't be
// written whole is removed.
JawsJob write_jaws_job(const char* script, const JawsRequest* request, const char* job);
// Deciphers a job into a file. Broken: it does not begin with the request's lines.
JawsJob read_jaws_job(const char* job, const char* script, JawsRequest* request);

// ---- The client -------------------------------------------------------------------------------------------------

enum class JawsStatus : int {
    Ok = 0,
    DirectoryIsFile = 2,
    NoDirectory = 3,
    NoScript = 4,
    NoJob = 5,
    Stopped = 6,
    NoName = 7,
    BadResolution = 8,
    BadDepth = 9,
    TimedOut = 10,
    NoPicture = 11,
    BadPicture = 12,
    WrongSize = 13,
};

// One job from its request to its picture. Operations answer false or null when they fail; status() then tells why.
class JwrsClient {
  public:
    // Makes the two directories below `base` where they are missing.
    explicit JwrsClient(const std::string& base);
    virtual ~JwrsClient() = default;
    JwrsClient(const JwrsClient&) = delete;
    JwrsClient& operator=(const JwrsClient&) = delete;

    JawsStatus status() const { return m_status; }
    const std::string& rasterInfo() const { return m_rasterInfo; }
    const std::string& jobFile() const { return m_job; }
    const std::string& pictureFile() const { return m_request.picture; }

    bool SetResolution(int width, int height);  // each 4 to 4096
    bool SetDepth(int depth);                   // 1 to 64
    // The job appears whole: it is written under another name first.
    bool SendPostScriptToService(const char* path, bool header);
    // Waits until the service has taken the job away, and reads the picture: line 0 is the top one, or with `flip` the
    // bottom one. The job is removed when the time is over or the caller wants an end, the picture in every case.
    ImagePtr GetImageFromService(int timeout_ms, bool flip, const StopRequested& stop = {});

  private:
    bool fail(JawsStatus status);
    bool makeDirectory(const std::string& path);
    bool waitForService(int timeout_ms, const StopRequested& stop);
    ImagePtr readPicture();

    JawsStatus m_status = JawsStatus::Ok;
    JawsRequest m_request;
    std::string m_rasterInfo;
    std::string m_input, m_output, m_job;
};
