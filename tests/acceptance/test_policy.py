# SPDX-License-Identifier: Apache-2.0
"""What a site asks of the daemon by its policy, as the service sees it."""

import base64
import shutil
import ssl

import pytest

from harness.daemon import KEY, UUID
from harness.process import clock
from harness.recorder import CLOSES, HANGS, TOKEN, Recorder
from harness.wire import answer, pin_of, tls_context

ROOT = "GET /redfish/v1"
LOOKUP = "GET /redfish/v1/Managers"
REGISTRATION = "POST /redfish/v1/Managers"
HEARTBEAT = f"POST /hb/{UUID}"
DOWN = "Cloud Service is not available at this time(8)"


@pytest.fixture
def named_recorder(folder):
    """A service whose certificate names its host."""
    server = Recorder(tls_context(folder, "-addext", "subjectAltName=DNS:localhost"))
    # By name: the TLS library of the other machine's daemon compares no addresses.
    server.url = server.url.replace("127.0.0.1", "localhost")
    yield server
    server.close()


def transport(daemon, **keys):
    daemon.write("policy.json", {"Transport": keys})


def starts_against(daemon, recorder, faketime=None):
    daemon.configure(Url=recorder.url)
    daemon.start(faketime)


@pytest.mark.parametrize("text, where", [
    ('{\n  "Preset": "hardned"\n}\n', 'line 2, column 13: "Preset" is none of "hardened"'),
    ('{"Transport": {"VerifySever": true}}',
     'line 1, column 16: "Transport.VerifySever" is not a key of the policy'),
    ('{"Preset": "hardened",}', "line 1, column 23: not valid JSON"),
], ids=["value", "key", "syntax"])
def test_policy_that_is_none_ends_the_daemon_before_it_connects(daemon, device, recorder, text,
                                                                where):
    daemon.write("policy.json", text)
    starts_against(daemon, recorder)
    daemon.ends(2)
    (entry,) = daemon.entries()
    assert (entry.level, entry.unit) == (3, "CloudClient")
    assert entry.text == f"TakePolicy: {daemon.path('policy.json')}: {where}"
    assert recorder.requests() == []


def test_policy_that_cannot_be_read_ends_the_daemon(daemon, device, recorder):
    daemon.path("policy.json").symlink_to("policy.json")
    starts_against(daemon, recorder)
    daemon.ends(2)
    (entry,) = daemon.entries()
    assert entry.text.endswith("policy.json cannot be read: Too many levels of symbolic links")
    assert recorder.requests() == []


def test_certificate_that_nobody_vouches_for_is_refused(daemon, device, named_recorder):
    transport(daemon, VerifyServer=True)
    starts_against(daemon, named_recorder)
    daemon.logs(DOWN)
    assert daemon.logged("failed (curlres: 60 - ")
    assert named_recorder.requests() == []


def test_certificate_that_the_file_vouches_for_is_accepted(daemon, device, named_recorder, folder):
    shutil.copy(folder / "server.pem", daemon.path("ca.pem"))
    transport(daemon, VerifyServer=True, CaFile="/etc/cloudclient/ca.pem")
    starts_against(daemon, named_recorder)
    named_recorder.receives(REGISTRATION)


def test_certificate_of_another_name_is_refused(daemon, device, tls_recorder, folder):
    shutil.copy(folder / "server.pem", daemon.path("ca.pem"))
    transport(daemon, VerifyServer=True, CaFile="/etc/cloudclient/ca.pem")
    starts_against(daemon, tls_recorder)
    daemon.logs(DOWN)
    assert daemon.logged("failed (curlres: 60 - ")
    assert tls_recorder.requests() == []


def test_pinned_key_is_accepted_whatever_the_certificate_says(daemon, device, tls_recorder, folder):
    other = "sha256//" + base64.b64encode(bytes(32)).decode()
    transport(daemon, VerifyServer=True, PinnedPublicKey=[other, pin_of((folder / "server.pem").read_text())])
    starts_against(daemon, tls_recorder)
    tls_recorder.receives(REGISTRATION)


def test_key_that_is_not_pinned_is_refused_whoever_vouches_for_it(daemon, device, named_recorder,
                                                                  folder):
    shutil.copy(folder / "server.pem", daemon.path("ca.pem"))
    transport(daemon, VerifyServer=True, CaFile="/etc/cloudclient/ca.pem",
              PinnedPublicKey="sha256//" + base64.b64encode(bytes(32)).decode())
    starts_against(daemon, named_recorder)
    daemon.logs(DOWN)
    assert daemon.logged("failed (curlres: 90 - ")
    assert named_recorder.requests() == []


def test_certificate_of_the_client_is_sent(daemon, device, folder):
    context = tls_context(folder)
    context.load_verify_locations(folder / "server.pem")
    context.verify_mode = ssl.CERT_REQUIRED
    for name in ("server.pem", "server.key"):
        shutil.copy(folder / name, daemon.path(name))
    transport(daemon, ClientCertificate="/etc/cloudclient/server.pem",
              ClientKey="/etc/cloudclient/server.key")
    recorder = Recorder(context)
    try:
        starts_against(daemon, recorder)
        recorder.receives(REGISTRATION)
    finally:
        recorder.close()


@pytest.mark.parametrize("minimum, met", [("1.3", False), ("1.2", True)])
def test_older_tls_than_asked_for_is_refused(daemon, device, folder, minimum, met):
    context = tls_context(folder)
    context.maximum_version = ssl.TLSVersion.TLSv1_2
    transport(daemon, MinimumTls=minimum)
    recorder = Recorder(context)
    try:
        starts_against(daemon, recorder)
        if met:
            recorder.receives(REGISTRATION)
        else:
            daemon.logs(DOWN)
            assert daemon.logged("failed (curlres: 35 - ")
    finally:
        recorder.close()


@pytest.mark.parametrize("key", ["RequestTimeoutSeconds", "StallSeconds"])
def test_silent_service_is_left_at_the_deadline(daemon, device, recorder, key):
    recorder.answers(ROOT, HANGS)
    transport(daemon, **{key: 20})
    starts_against(daemon, recorder)
    daemon.logs(DOWN)
    (failure,) = daemon.logged("failed (curlres: 28 - ")
    asked = daemon.logged("cloudclient is now ENABLED")[0]
    assert 20 <= (failure.time - asked.time).total_seconds()


def test_stop_ends_the_request_under_way(daemon, device, recorder):
    recorder.answers(LOOKUP, HANGS)
    transport(daemon, RequestTimeoutSeconds=86400)
    starts_against(daemon, recorder, clock(1))
    recorder.receives(LOOKUP)
    daemon.stop()
    assert daemon.logged("failed (curlres: 42 - ")


def test_proxy_is_asked_for_what_is_behind_it(daemon, device, recorder):
    transport(daemon, Proxy=recorder.url, ProxyAuth="me:se:cret")
    daemon.configure(Url="http://cloud.invalid")
    daemon.start()
    request = recorder.receives("GET http://cloud.invalid/redfish/v1")
    assert "Proxy-Authorization: Basic " + base64.b64encode(b"me:se:cret").decode() in request.text


def test_host_that_needs_no_proxy_is_asked_itself(daemon, device, recorder, nobody):
    transport(daemon, Proxy=nobody.url, NoProxy="127.0.0.1,localhost")
    starts_against(daemon, recorder)
    recorder.receives(REGISTRATION)


def test_host_of_the_url_is_the_host(daemon, device, recorder):
    transport(daemon, HostOfUrl=True)
    starts_against(daemon, recorder)
    host = recorder.url.removeprefix("http://")
    assert f"\r\nHost: {host}\r\n" in recorder.receives(REGISTRATION).raw.decode()


# One up to the chassis's post, which has one of its own, and that one from then on.
KEPT_CONNECTIONS = 2


def test_kept_connection_serves_all_requests(daemon, device, tls_recorder):
    transport(daemon, KeepConnection=True)
    starts_against(daemon, tls_recorder)
    tls_recorder.receives(HEARTBEAT, times=2)
    assert tls_recorder.connections() == KEPT_CONNECTIONS


def test_without_a_policy_each_request_has_a_connection(daemon, device, tls_recorder):
    starts_against(daemon, tls_recorder)
    tls_recorder.receives(HEARTBEAT)
    assert tls_recorder.connections() >= len(tls_recorder.requests())


def test_trailer_does_not_end_the_daemon(daemon, device, recorder):
    body = '{"Managers": {"@odata.id": "/redfish/v1/Managers"}}'
    trailer = "X-Padding: " + "x" * 2000
    recorder.answers(ROOT, (
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nTrailer: X-Padding\r\n\r\n"
        f"{len(body):x}\r\n{body}\r\n0\r\n{trailer}\r\n\r\n").encode())
    transport(daemon, FreshAnswers=True)
    starts_against(daemon, recorder)
    recorder.receives(REGISTRATION)


def test_masked_log_shows_neither_token_nor_key(daemon, device, recorder):
    daemon.write("policy.json", {"Log": {"MaskSecrets": True}})
    refusal = answer(400, f"X-Auth-Token: {TOKEN}", body=f"{KEY} {TOKEN}")
    recorder.answers(REGISTRATION, refusal, answer(201, f"X-Auth-Token: {TOKEN}", body={}))
    recorder.answers(f"DELETE /redfish/v1/Managers/{UUID}", CLOSES)
    recorder.answers("POST /redfish/v1/Chassis", refusal)
    starts_against(daemon, recorder)
    daemon.logs("Cloud Client failed to register(3)")
    daemon.configure(Enabled=False, XAuthToken=TOKEN)
    daemon.logs("DoWork: cloudclient is now DISABLED")
    daemon.enable()
    daemon.logs("Failed to add chassis to cloud service")
    daemon.disable()
    daemon.logs("DoWork: cloudclient is now DISABLED", times=2)
    assert daemon.logged("xauthtoken: ********")
    assert daemon.logged("registration_key=********")
    text = daemon.error_text()
    assert KEY not in text and TOKEN not in text


def test_hardened_preset_connects_and_goes_on(daemon, device, named_recorder, folder):
    shutil.copy(folder / "server.pem", daemon.path("ca.pem"))
    daemon.write("policy.json", {"Preset": "hardened",
                                 "Transport": {"CaFile": "/etc/cloudclient/ca.pem"}})
    starts_against(daemon, named_recorder)
    named_recorder.receives(HEARTBEAT)
    host = named_recorder.url.removeprefix("https://")
    for request in named_recorder.requests():
        assert f"\r\nHost: {host}\r\n" in request.raw.decode()
    assert named_recorder.connections() == KEPT_CONNECTIONS
