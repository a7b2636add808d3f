#include "control/metrics.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

#include <regex>

using namespace control;

namespace {

std::string MetricsOf(const std::string& json, const std::string& service)
{
    Value state;
    EXPECT_TRUE(ParseObject(json, state)) << json;
    return Metrics(state, service);
}

TEST(Metrics, ShowEachCounterAndEachGauge)
{
    const std::string state =
        R"({"counters":{"requests":5,"refused":1,"publications":12,"bytes":18446744073709551615},)"
        R"("clients":[{"client":4,"backlog":2,"backlogBytes":54,"lost":7,"stalled":true}],)"
        R"("faults":[{"id":1}],)"
        R"("regions":[{"regionId":3,"visible":false,"publications":9,"bytes":400},)"
        R"({"regionId":14,"publications":3,"bytes":60}]})";
    const std::regex comment("#.*\n");
    EXPECT_TEXT(std::regex_replace(MetricsOf(state, "s"), comment, ""),
                R"(subtitle_requests_total{service="s"} 5
subtitle_refused_requests_total{service="s"} 1
subtitle_publications_total{service="s"} 12
subtitle_published_bytes_total{service="s"} 18446744073709551615
subtitle_clients{service="s"} 1
subtitle_faults{service="s"} 1
subtitle_region_publications_total{service="s",region="3"} 9
subtitle_region_publications_total{service="s",region="14"} 3
subtitle_region_published_bytes_total{service="s",region="3"} 400
subtitle_region_published_bytes_total{service="s",region="14"} 60
subtitle_region_visible{service="s",region="3"} 0
subtitle_client_backlog{service="s",client="4"} 2
subtitle_client_backlog_bytes{service="s",client="4"} 54
subtitle_client_lost_total{service="s",client="4"} 7
subtitle_client_stalled{service="s",client="4"} 1
)");
}

TEST(Metrics, ShowHelpAndTypeAndEscapeTheNameOfTheService)
{
    EXPECT_TEXT(MetricsOf(R"({"counters":{"requests":0},"clients":[]})", "a\"b\\c\xFF"),
                "# HELP subtitle_requests_total Requests received.\n"
                "# TYPE subtitle_requests_total counter\n"
                "subtitle_requests_total{service=\"a\\\"b\\\\c\xEF\xBF\xBD\"} 0\n"
                "# HELP subtitle_clients Connected clients.\n"
                "# TYPE subtitle_clients gauge\n"
                "subtitle_clients{service=\"a\\\"b\\\\c\xEF\xBF\xBD\"} 0\n");
}

}  // namespace
