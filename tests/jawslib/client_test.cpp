// Jobs as a service finds them, and what the client makes of what it finds.
#include <gcrypt.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "imagelib/imagelib_fileio.h"
#include "jawslib/jaws_cipher.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

namespace fs = std::filesystem;

class JawsExchange : public TemporaryHome {
  protected:
    JawsExchange() { SetTraceLevel(TRACE_OFF); }

    // A script whose job is longer than one of the cipher's buffers.
    std::string script() const {
        std::string text = "%!PS-Adobe-3.0\n";
        for (int i = 0; text.size() < 150'000; ++i) text += "% line " + std::to_string(i) + "\n";
        write(root + "/script.ps", text);
        return text;
    }
    // A picture of the size asked for, red at the top and blue at the bottom.
    static void serve(const JwrsClient& client, int width, int height) {
        const ImagePtr image = make_image(width, height, 3, SAMPLE_U8);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                image_row<unsigned char>(image.get(), y)[3 * x + (y < height / 2 ? 0 : 2)] = 200;
        ASSERT_TRUE(image_write(client.pictureFile().c_str(), image.get(), false));
        fs::remove(client.jobFile());
    }
};

TEST_F(JawsExchange, SendsAJobThatAnotherProgramDeciphers) {
    const std::string text = script();
    JwrsClient client(root + "/base/");
    ASSERT_EQ(client.status(), JawsStatus::Ok);
    EXPECT_THAT(client.rasterInfo(), testing::EndsWith(".tif 720 576 4"));
    ASSERT_TRUE(client.SetResolution(320, 200));
    ASSERT_TRUE(client.SetDepth(2));
    ASSERT_TRUE(client.SendPostScriptToService((root + "/script.ps").c_str(), true));
    EXPECT_TRUE(is_uuid(fs::path(client.jobFile()).filename().string()));
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/base/JawsServiceInput"), {}), 1) << "the job alone";

    std::string job = contents(client.jobFile());
    for (std::size_t at = 0; at < job.size(); at += 65536) {
        gcry_cipher_hd_t handle = nullptr;
        char oid[] = "1.2.643.2.2.30.0";
        ASSERT_EQ(gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, GCRY_CIPHER_MODE_CFB, 0), 0u);
        ASSERT_EQ(gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, oid, 0), 0u);
        gcry_cipher_setkey(handle, JAWS_KEY.data(), JAWS_KEY.size());
        gcry_cipher_setiv(handle, JAWS_INITIAL.data(), JAWS_INITIAL.size());
        gcry_cipher_decrypt(handle, job.data() + at, std::min<std::size_t>(65536, job.size() - at), nullptr, 0);
        gcry_cipher_close(handle);
    }
    const std::string expected = "%!PS-Adobe-3.0\n%%RasterInfo: " + client.pictureFile() + " 320 200 2\n" + text;
    EXPECT_TRUE(job == expected);

    JawsRequest request;
    ASSERT_EQ(read_jaws_job(client.jobFile().c_str(), (root + "/read.ps").c_str(), &request), JawsJob::Done);
    EXPECT_TRUE(contents(root + "/read.ps") == expected);
    EXPECT_EQ(raster_info_line(request), client.rasterInfo());
}

TEST_F(JawsExchange, ReadsRequestsWhosePathsHaveBlanksAndRefusesOthers) {
    JawsRequest request;
    ASSERT_TRUE(parse_raster_info("%%RasterInfo: /my files/a 1.tif 10 20 3", &request));
    EXPECT_EQ(request.picture, "/my files/a 1.tif");
    EXPECT_EQ(request.height, 20);
    for (const char* line : {"", "%%RasterInfo:", "%%RasterInfo: a 1 2", "%%RasterInfo: a 1 2 x",
                             "%%RasterInfo: a 1 2 99999999999", "%!PS-Adobe-3.0"})
        EXPECT_FALSE(parse_raster_info(line, &request)) << line;
    write(root + "/plain", "%!PS-Adobe-3.0\n%%RasterInfo: a 10 10 1\n");  // not enciphered
    EXPECT_EQ(read_jaws_job((root + "/plain").c_str(), (root + "/out").c_str(), &request), JawsJob::Broken);
    EXPECT_FALSE(fs::exists(root + "/out"));
}

TEST_F(JawsExchange, TakesThePictureOnceTheJobIsGone) {
    script();
    JwrsClient client(root);
    ASSERT_TRUE(client.SetResolution(40, 30));
    ASSERT_TRUE(client.SendPostScriptToService((root + "/script.ps").c_str(), true));
    std::thread service([&client] {
        thread_sleep(150);
        serve(client, 40, 30);
    });
    const ImagePtr image = client.GetImageFromService(5000, true);
    service.join();
    ASSERT_TRUE(image);
    EXPECT_EQ(image_get_sample(image.get(), 5, 29, 0), 200.0f) << "row 0 is the bottom one";
    EXPECT_EQ(image_get_sample(image.get(), 5, 0, 2), 200.0f);
    EXPECT_FALSE(fs::exists(client.pictureFile()));
}

// Every way to fail has its status, and leaves no file behind.
TEST_F(JawsExchange, TellsWhyThereIsNoPicture) {
    script();
    const std::string path = root + "/script.ps";
    const auto after = [&](const std::function<void(JwrsClient&)>& answer, const StopRequested& stop = {}) {
        JwrsClient client(root);
        EXPECT_TRUE(client.SetResolution(40, 30) && client.SendPostScriptToService(path.c_str(), true));
        answer(client);
        EXPECT_FALSE(client.GetImageFromService(0, true, stop));
        EXPECT_FALSE(fs::exists(client.jobFile()) || fs::exists(client.pictureFile())) << int(client.status());
        return client.status();
    };
    EXPECT_EQ(after([](JwrsClient&) {}), JawsStatus::TimedOut);
    EXPECT_EQ(after([](JwrsClient&) {}, [] { return true; }), JawsStatus::Stopped);
    EXPECT_EQ(after([](JwrsClient& client) { fs::remove(client.jobFile()); }), JawsStatus::NoPicture);
    EXPECT_EQ(after([](JwrsClient& client) { serve(client, 40, 31); }), JawsStatus::WrongSize);
    EXPECT_EQ(after([](JwrsClient& client) {
                  write(client.pictureFile(), "no picture");
                  fs::remove(client.jobFile());
              }),
              JawsStatus::BadPicture);

    JwrsClient client(root);
    EXPECT_TRUE(client.SetResolution(4, 4096));
    for (const auto& [width, height] : {std::pair{3, 100}, {100, 3}, {4097, 100}, {100, 4097}, {-1, 0}}) {
        EXPECT_FALSE(client.SetResolution(width, height));
        EXPECT_EQ(client.status(), JawsStatus::BadResolution);
    }
    EXPECT_TRUE(client.SetDepth(1) && client.SetDepth(64));
    EXPECT_FALSE(client.SetDepth(0) || client.SetDepth(65));
    EXPECT_EQ(client.status(), JawsStatus::BadDepth);
    EXPECT_FALSE(client.SendPostScriptToService((root + "/nothing").c_str(), true));
    EXPECT_EQ(client.status(), JawsStatus::NoScript);

    write(root + "/taken/JawsServiceInput", "a file");
    EXPECT_EQ(JwrsClient(root + "/taken").status(), JawsStatus::DirectoryIsFile);
    JwrsClient nowhere(root + "/script.ps/below");
    EXPECT_EQ(nowhere.status(), JawsStatus::NoDirectory);
    EXPECT_FALSE(nowhere.SendPostScriptToService(path.c_str(), true) || nowhere.GetImageFromService(0, true));
}

TEST_F(JawsExchange, IsInTheDataDirectoryOrElseAtHome) {
    EXPECT_EQ(jaws_base_directory(), GetHostPlatformSpecificDataDirectory());
    EXPECT_TRUE(fs::is_directory(root + "/Quillon-OFX/data"));
    fs::remove_all(root + "/Quillon-OFX");
    write(root + "/Quillon-OFX", "in the way");
    EXPECT_EQ(jaws_base_directory(), home);
}

}  // namespace
