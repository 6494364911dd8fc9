// Commands out of and in order, and flow fields in files.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "flowclientlib/flowclientlib.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "support/images.h"

namespace {

constexpr int WIDTH = 64, HEIGHT = 48;

class Silent : public testing::Test {
  protected:
    void SetUp() override { SetTraceLevel(TRACE_OFF); }
    void TearDown() override { SetTraceLevel(TRACE_INFO); }
};

class Commands : public Silent {
  protected:
    ~Commands() override { library_instance_data_destroy(m_instance); }
    int run(int command, const OfcData& data = {}) {
        ofc.command = command;
        return execute_ofc_command(m_instance, ofc, data);
    }
    int new_pair() {
        OfcData data;
        data.image1 = first.get(), data.image2 = second.get();
        return run(OFC_NEW_PAIR, data);
    }
    int with_flows(int command, FlowFields* flows) {
        OfcData data;
        data.flows = flows;
        return run(command, data);
    }
    int with_output(int command, K7Image* picture) {
        OfcData data;
        data.output = picture;
        return run(command, data);
    }
    unsigned state() const { return library_instance_state(m_instance); }

    Ofc ofc;
    ImagePtr first = noise_image(WIDTH, HEIGHT, 4, SAMPLE_F32, 1),
             second = noise_image(WIDTH, HEIGHT, 4, SAMPLE_F32, 2);
    ImagePtr output = make_image(WIDTH, HEIGHT, 4, SAMPLE_F32);

  private:
    FlowInstance* m_instance = library_instance_data_create();
};

TEST_F(Commands, HaveAnOrder) {
    for (const int command : {OFC_NEW_PAIR, OFC_FLOW_SETUP, OFC_ANALYZE, OFC_SET_FLOWS, OFC_GET_FLOWS,
                              OFC_IN_BETWEEN_AT_VAL, OFC_MOTION_BLUR})
        EXPECT_EQ(run(command), OFC_OUT_OF_ORDER) << command;
    for (const int command : {0, 7, 12, -1}) EXPECT_EQ(run(command), OFC_UNKNOWN_COMMAND) << command;
    EXPECT_EQ(run(OFC_OPEN), OFC_OK);
    EXPECT_EQ(run(OFC_OPEN), OFC_OUT_OF_ORDER);
    EXPECT_EQ(run(OFC_FLOW_SETUP), OFC_OUT_OF_ORDER);
    EXPECT_EQ(run(OFC_NEW_PAIR), OFC_BAD_ARGUMENTS);
    EXPECT_EQ(new_pair(), OFC_OK);
    EXPECT_EQ(run(OFC_ANALYZE), OFC_OUT_OF_ORDER);
    EXPECT_EQ(run(OFC_FLOW_SETUP), OFC_OK);
    FlowFields flows;
    EXPECT_EQ(with_flows(OFC_GET_FLOWS, &flows), OFC_OUT_OF_ORDER);
    ofc.num_iterations = 0;
    EXPECT_EQ(run(OFC_ANALYZE), OFC_BAD_ARGUMENTS);
    ofc.num_iterations = 2;
    EXPECT_EQ(run(OFC_ANALYZE), OFC_OK);
    EXPECT_EQ(state(), OFC_IS_OPEN | OFC_HAS_PAIR | OFC_IS_SET_UP | OFC_HAS_FLOWS);
    EXPECT_EQ(with_flows(OFC_GET_FLOWS, &flows), OFC_OK);
    EXPECT_TRUE(flows.forward && flows.backward);
    EXPECT_EQ(with_flows(OFC_SET_FLOWS, &flows), OFC_OK);
    EXPECT_EQ(with_output(OFC_IN_BETWEEN_AT_VAL, nullptr), OFC_BAD_ARGUMENTS);
    EXPECT_EQ(with_output(OFC_IN_BETWEEN_AT_VAL, output.get()), OFC_OK);
    EXPECT_EQ(run(OFC_QUIT), OFC_OK);
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(execute_ofc_command(nullptr, ofc), OFC_BAD_ARGUMENTS);
}

// A flow of 8 pixels: a blur until halfway is the mean of its samples, heavier in the middle where asked for.
TEST_F(Commands, BlurMotion) {
    FlowFields flows;
    flows.forward = make_image(WIDTH, HEIGHT, 2, SAMPLE_F32);
    for (int n = 0; n < WIDTH * HEIGHT; ++n) image_row<float>(flows.forward.get(), 0)[2 * n] = 8;
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x)
            for (int c = 0; c < 4; ++c) {
                image_row<float>(first.get(), y)[4 * x + c] = float(x);
                image_row<float>(second.get(), y)[4 * x + c] = float(x - 8);
            }
    ASSERT_EQ(run(OFC_OPEN), OFC_OK);
    ASSERT_EQ(new_pair(), OFC_OK);
    ASSERT_EQ(run(OFC_FLOW_SETUP), OFC_OK);
    ASSERT_EQ(with_flows(OFC_SET_FLOWS, &flows), OFC_OK);
    ofc.betweens = 5;
    ofc.av_scale = ofc.av_mix = 1;
    for (const float weight : {0.0F, 1.0F}) {
        ofc.mob_weight = weight;
        ASSERT_EQ(with_output(OFC_MOTION_BLUR, output.get()), OFC_OK);
        EXPECT_NEAR(image_get_sample(output.get(), 30, 20, 0), 26, 0.01);
    }
    ofc.betweens = 0;
    EXPECT_EQ(with_output(OFC_MOTION_BLUR, output.get()), OFC_BAD_ARGUMENTS);
}

// Each field has its own flow and its own time.
TEST_F(Commands, KeepFieldsApart) {
    ofc.fields_data = OFC_ODD_FIELD_FIRST;
    ofc.av_scale = ofc.av_mix = 0, ofc.av_scale_sf = ofc.av_mix_sf = 1;
    ASSERT_EQ(run(OFC_OPEN), OFC_OK);
    ASSERT_EQ(new_pair(), OFC_OK);
    ASSERT_EQ(run(OFC_FLOW_SETUP), OFC_OK);
    ASSERT_EQ(run(OFC_ANALYZE), OFC_OK);
    FlowFields flows[2];
    ASSERT_EQ(with_flows(OFC_GET_FLOWS, flows), OFC_OK);
    EXPECT_EQ(flows[1].forward->height, HEIGHT / 2);
    ASSERT_EQ(with_output(OFC_IN_BETWEEN_AT_VAL, output.get()), OFC_OK);
    for (int y = 0; y < HEIGHT; ++y)  // odd rows at the beginning, even rows at the end
        for (int x = 0; x < 4 * WIDTH; ++x)
            ASSERT_EQ(image_row<float>(output.get(), y)[x], image_row<float>(y % 2 ? first.get() : second.get(), y)[x]);
}

TEST(Record, TakesNumbersByName) {
    Ofc record;
    EXPECT_TRUE(ofc_set(record, "lambda2", "0.25") && ofc_set(record, "num_iterations", "7"));
    EXPECT_EQ(record.flow_settings().lambda2, 0.25F);
    EXPECT_EQ(record.flow_settings().num_iterations, 7);
    for (const char* text : {"", "x", "1x", "1.5", "nan", "1e99"})
        EXPECT_FALSE(ofc_set(record, "betweens", text)) << text;
    EXPECT_FALSE(ofc_set(record, "lambda3", "1"));
    EXPECT_TRUE(ofc_names().starts_with("command, endian") && ofc_names().ends_with("av_mix_sf"));
}

using Job = Silent;

TEST_F(Job, KeepsFlowToTheBit) {
    const std::string folder = temporary_name();
    ::setenv("KESTREL_WORK_AREA", folder.c_str(), 1);
    FlowJob job;
    ::unsetenv("KESTREL_WORK_AREA");
    FlowFields flows, read;
    flows.forward = noise_image(33, 21, 2, SAMPLE_F32, 3, -40, 40);
    EXPECT_EQ(job.put_flow(1, flows), FLOW_JOB_NOT_READY);
    ASSERT_TRUE(job.prepare());
    EXPECT_EQ(job.flow_file(12), folder + "/flows/untitled00012.tif");
    EXPECT_EQ(job.catalog_file(), folder + "/untitledCatalog");
    EXPECT_FALSE(job.set_job_name("../away"));
    EXPECT_EQ(job.get_flow(1, read), FLOW_JOB_READ_FAILED);
    EXPECT_EQ(job.put_flow(1, {}), FLOW_JOB_BAD_ARGUMENTS);
    image_row<float>(flows.forward.get(), 3)[5] = -INFINITY;
    for (const bool both : {false, true}) {
        if (both) flows.backward = noise_image(33, 21, 2, SAMPLE_F32, 4, -1, 1);
        ASSERT_EQ(job.put_flow(1, flows), FLOW_JOB_OK);
        ASSERT_EQ(job.get_flow(1, read), FLOW_JOB_OK);
        EXPECT_TRUE(same_pixels(read.forward.get(), flows.forward.get()));
        EXPECT_EQ(read.backward != nullptr, both);
        if (both) {
            EXPECT_TRUE(same_pixels(read.backward.get(), flows.backward.get()));
        }
    }
    EXPECT_EQ(job.write_catalog(0, 5), FLOW_JOB_OK);
    std::ifstream catalog(job.catalog_file());
    std::string line;
    EXPECT_TRUE(std::getline(catalog, line) && line == "1" && !std::getline(catalog, line));
    std::filesystem::resize_file(job.flow_file(1), 2000);  // cut short
    EXPECT_EQ(job.get_flow(1, read), FLOW_JOB_READ_FAILED);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(job.put_flow(1, flows), FLOW_JOB_WRITE_FAILED);
}

}  // namespace
