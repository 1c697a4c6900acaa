#include "end-to-end/ProgramTest.hpp"
#include "platform/DiagnosticImage.hpp"

namespace varnolex::testing {
namespace {

using ::testing::HasSubstr;
using Kind = DiagnosticKind;

using RecorderDumpTest = ProgramTest;

std::string recorded() {
    // 2 January 1970, 00:00:00.
    DiagnosticImage image(86'400);
    image.write({Kind::rebuildEnd, 7, {0, 1, 2, 0, 0}});
    image.write({Kind::applicationStart, 65'535, {0, 1, 2, 0, 0}});
    image.write({Kind::tool, 0, {1, 2, 4, 0, 0}});
    image.write({Kind::rebuildStart, 1, {1, 5, 255, 0, 0}});
    image.write({Kind::received, 60, {1, 0x90, 60, 100, 1}});
    image.write({Kind::sent, 0, {1, 0xF0, 1, 2, 3}});
    image.write({Kind::sent, 0, {1, 0xC3, 9, 0, 0}});
    image.write({Kind::sent, 0, {1, 0x90, 60, 0, 5}});
    image.write({Kind::inputEvent, 0, {1, 0x34, 0x12, 1, 2}});
    image.write({Kind::outputStatus, 0, {1, 3, 0xFA, 0xFF, 0}});
    image.write({Kind::outputEvent, 0, {1, 3, 4, 0, 0}});
    image.write({Kind::portCreationFailure, 65'535, {0xFA, 0xFF, 1, 0xFF, 0xFF}});
    image.write({Kind::floodEntered, 3, {2, 0xCD, 0xAB, 0, 0}});
    image.write({Kind::mutedDrop, 0, {0xCD, 0xAB, 0, 1, 0}});
    image.write({Kind::endpointsChanged, 0, {2, 3, 4, 0, 0}});
    image.write({Kind::parameterSequence, 0, {15, 0, 0, 0, 0}});
    image.write({Kind{99}, 0, {1, 2, 3, 4, 5}});
    return image.bytes();
}

TEST_F(RecorderDumpTest, PrintsEveryRecordInWordsAndWithItsTimeWhereThatIsKnown) {
    write("diag.vxld", recorded());
    EXPECT_EQ(output({"dump", "diag.vxld"}),
              "+7 s\trebuild end\tgraph 0: 1 nodes, 2 cables\n"
              "1970-01-02 18:12:18\tapplication start\t65538 s after the log began\n"
              "1970-01-02 18:12:18\ttool\tgraph 1, node 2: Transpose, off\n"
              "1970-01-02 18:12:19\trebuild start\tgraph 1: nodes switched, 255 nodes\n"
              "1970-01-02 18:13:19\treceived\tgraph 1: 90 3C 64, ends its batch\n"
              "1970-01-02 18:13:19\tsent\tgraph 1: F0 01 02 ..., ends its batch\n"
              "1970-01-02 18:13:19\tsent\tgraph 1: C3 09\n"
              "1970-01-02 18:13:19\tsent\tgraph 1: 90 3C 00, note end, ends its batch\n"
              "1970-01-02 18:13:19\tinput event\tgraph 1: disconnected, virtual, unique ID ends in 1234\n"
              "1970-01-02 18:13:19\toutput status\tgraph 1: send, status -6\n"
              "1970-01-02 18:13:19\toutput event\tgraph 1: batch in several lists, 4\n"
              "+65535 s or more\tport creation failure\toutput, status -6\n"
              "+3 s\tflood entered\tendpoint ABCD, 2 flooding\n"
              "+0 s\tmuted drop\tendpoint ABCD, 256 messages\n"
              "+0 s\tendpoints changed\tremoved, 3 sources, 4 destinations\n"
              "+0 s\tparameter sequence\tchannel 16: timed out\n"
              "+0 s\t99\t01 02 03 04 05\n");
    const std::string json = output({"dump", "--json", "diag.vxld"});
    EXPECT_THAT(json, HasSubstr("{\"time\":151999,\"delta\":60,\"kind\":4,\"name\":\"received\",\"payload\":[1,144,60,"
                                "100,1],\"text\":\"graph 1: 90 3C 64, ends its batch\"}\n"));
    EXPECT_THAT(json, HasSubstr("{\"time\":null,\"delta\":7,"));
}

TEST_F(RecorderDumpTest, RefusesWhatIsNoneByName) {
    const std::string whole = recorded();
    for (const std::string& content : {std::string(), whole.substr(1), whole + "x", std::string(whole.size(), 'x')}) {
        write("diag.vxld", content);
        const Outcome outcome = run({"dump", "diag.vxld"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "varnolex: diag.vxld: no file of the flight recorder\n");
    }
}

TEST_F(RecorderDumpTest, ARenderingRecordsNothing) {
    write("a.txt", "0\t90 3C 64\n60\t80 3C 64\n");
    output({"render", "--patch", "in -> out", "a.txt"});
    EXPECT_EQ(files(), std::set<std::string>{"a.txt"});
}

}  // namespace
}  // namespace varnolex::testing
