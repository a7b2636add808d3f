def test_service_answers(subtitle_client):
    assert subtitle_client("-p", within=5).stdout == "Let's Ping\nSuccessful Ping\n"


def test_service_publishes_what_it_was_sent(subtitle_tap, subtitle_client):
    subtitle_client("-i", typed="4\n3\nt\nx\n")
    subtitle_tap.await_notification("RegionVisibility", regionId=3, visible=True)
