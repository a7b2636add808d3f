#include "control/metrics.h"
#include "tests/harness/text_compare.h"

#include <gtest/gtest.h>

using namespace control;

namespace {

std::string MetricsOf(const std::string& json, const std::string& service = "SubtitleMgr")
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
    const std::string text = R"(# HELP subtitle_requests_total Requests received.
# TYPE subtitle_requests_total counter
subtitle_requests_total{service="SubtitleMgr"} 5
# HELP subtitle_refused_requests_total Requests refused.
# TYPE subtitle_refused_requests_total counter
subtitle_refused_requests_total{service="SubtitleMgr"} 1
# HELP subtitle_publications_total Records published.
# TYPE subtitle_publications_total counter
subtitle_publications_total{service="SubtitleMgr"} 12
# HELP subtitle_published_bytes_total Bytes of records published.
# TYPE subtitle_published_bytes_total counter
subtitle_published_bytes_total{service="SubtitleMgr"} 18446744073709551615
# HELP subtitle_clients Connected clients.
# TYPE subtitle_clients gauge
subtitle_clients{service="SubtitleMgr"} 1
# HELP subtitle_faults Faults that are on.
# TYPE subtitle_faults gauge
subtitle_faults{service="SubtitleMgr"} 1
# HELP subtitle_region_publications_total Records published for a region.
# TYPE subtitle_region_publications_total counter
subtitle_region_publications_total{service="SubtitleMgr",region="3"} 9
subtitle_region_publications_total{service="SubtitleMgr",region="14"} 3
# HELP subtitle_region_published_bytes_total Bytes of records published for a region.
# TYPE subtitle_region_published_bytes_total counter
subtitle_region_published_bytes_total{service="SubtitleMgr",region="3"} 400
subtitle_region_published_bytes_total{service="SubtitleMgr",region="14"} 60
# HELP subtitle_region_visible Whether a region is shown.
# TYPE subtitle_region_visible gauge
subtitle_region_visible{service="SubtitleMgr",region="3"} 0
# HELP subtitle_client_backlog Notifications that wait for a client.
# TYPE subtitle_client_backlog gauge
subtitle_client_backlog{service="SubtitleMgr",client="4"} 2
# HELP subtitle_client_backlog_bytes Bytes that wait for a client.
# TYPE subtitle_client_backlog_bytes gauge
subtitle_client_backlog_bytes{service="SubtitleMgr",client="4"} 54
# HELP subtitle_client_lost_total Notifications that a client has lost.
# TYPE subtitle_client_lost_total counter
subtitle_client_lost_total{service="SubtitleMgr",client="4"} 7
# HELP subtitle_client_stalled Whether a client is stalled.
# TYPE subtitle_client_stalled gauge
subtitle_client_stalled{service="SubtitleMgr",client="4"} 1
)";
    EXPECT_TEXT(MetricsOf(state), text);
}

TEST(Metrics, EscapeTheNameOfTheService)
{
    EXPECT_TEXT(MetricsOf(R"({"counters":{"requests":0}})", "a\"b\\c\xFF"),
                "# HELP subtitle_requests_total Requests received.\n"
                "# TYPE subtitle_requests_total counter\n"
                "subtitle_requests_total{service=\"a\\\"b\\\\c\xEF\xBF\xBD\"} 0\n");
}

}  // namespace
