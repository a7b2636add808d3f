def test_console_shows_a_region(subtitle_service, subtitle_console):
    subtitle_console.key("1")
    subtitle_service.await_subscribers(10)
    subtitle_service.publish("region-data 3 cif 00010203")
    subtitle_console.expect("CLI: Process region  3 (2):  0=    1   1=    1   2=    1   3=    1")
