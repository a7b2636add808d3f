"""The metrics of a service, judged by Prometheus' own checker."""

import subprocess


def test_metrics_are_clean_under_promtool(bench, programs):
    service = bench.service
    service.subscribe(10, 15133)
    service.fault("refuse request=RefreshRegions")
    for line in ("region-data 3 cif 00", "visibility 3 true", "palette 14 0 false -"):
        service.publish(line)
    metrics = subprocess.run(
        [programs / "SubtitleMgrCtl", "top", "--prometheus"],
        env=bench.workspace.environment(),
        stdout=subprocess.PIPE,
        check=True,
        text=True,
    ).stdout
    for sample in (
        'subtitle_region_visible{service="SubtitleMgr",region="3"} 1\n',
        'subtitle_client_lost_total{service="SubtitleMgr",client="1"} 0\n',
        'subtitle_faults{service="SubtitleMgr"} 1\n',
    ):
        assert sample in metrics
    command = ["promtool", "check", "metrics"]
    checked = subprocess.run(command, input=metrics, capture_output=True, check=False, text=True)
    assert (checked.returncode, checked.stdout, checked.stderr) == (0, "", "")
