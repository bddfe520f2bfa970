# SPDX-License-Identifier: Apache-2.0
"""The cases in which the hardened preset is meant to make a difference, each with its reason. All
others with a daemon are the same with it."""

# Files, and why none of their cases runs with it.
OWN = {
    "test_policy.py": "the cases choose the policy",
    "test_policy_retry.py": "the cases choose the policy",
    "test_faults.py": "the cases run with it already",
    "test_walk.py": "the cases run with it already",
    "test_outbox.py": "the cases choose the policy",
    "test_trust.py": "the cases choose the policy",
    "test_ctl.py": "cloudclientctl is tried, mostly without a daemon that runs",
}

FRESH = "Transport.FreshAnswers: nothing is left in front of an answer"
OUTBOX = "Outbox: an event has a key, and is posted until the service has it or refuses it for good"
NEWEST = "Changes.Deliver: the newest of each point"
RETRY = "Registration.RetrySeconds: a connection that failed is made again"
DEADLINES = "Transport: a stop ends the request under way"

# Case, as "FILE::NAME" without its parameters: what is different.
MEANT = {
    "test_alarm_outage.py::test_refused_patch_spoils_one_daily_reading": FRESH,
    "test_alarms.py::test_quote_in_a_text_is_refused_and_the_daemon_goes_on": OUTBOX,
    "test_bad_alarm_input.py::test_trailer_cuts_the_front_of_a_list": FRESH,
    "test_bad_alarm_input.py::test_trailer_cuts_the_front_of_an_event": FRESH,
    "test_bad_alarm_input.py::test_trailer_longer_than_a_list_is_a_failed_query": FRESH,
    "test_bad_alarm_input.py::test_trailer_longer_than_an_event_leaves_it_out": FRESH,
    "test_bad_input.py::test_file_that_can_not_be_saved_is_left_as_it_was":
        "the policy's file stands beside the others",
    "test_lifecycle.py::test_failed_heartbeat_is_not_repeated_and_the_next_one_comes":
        "Transport.KeepConnection: libcurl repeats a request that a kept connection ends under",
    "test_network.py::test_unresolved_host_of_an_unregistration_is_tried_three_times":
        "Log.MaskSecrets: the token is masked",
    "test_network.py::test_service_that_comes_later_is_met_at_the_next_enabling":
        "Transport.PinnedPublicKey: a service that is not there yet has no key to pin",
    "test_points_endless.py::test_map_file_that_is_nowhere_is_looked_for_for_ever":
        "Search.EndAtBase: the search ends",
    "test_points_wire.py::test_of_several_changes_within_a_pass_the_first_alone_is_delivered":
        NEWEST,
    "test_points_wire.py::test_of_all_changes_within_a_pass_each_is_delivered_in_order": NEWEST,
    "test_points_wire.py::test_refused_event_is_not_repeated": OUTBOX,
    "test_points_wire.py::test_refused_patch_keeps_the_event_back":
        "Outbox: an event is kept although its change could not be sent",
    "test_points_wire.py::test_event_of_a_point_to_the_byte": OUTBOX,
    "test_protocol_document.py::test_document_is_as_recorded":
        "the recorded conversation is that without a policy",
    "test_protocol_document.py::test_body_of_a_patch_spoils_the_next_list": FRESH,
    "test_registration.py::test_failed_chassis_is_not_posted_again": RETRY,
    "test_stop.py::test_second_signal_ends_a_stop_that_hangs": DEADLINES,
    "test_stop.py::test_stop_that_hangs_ends_after_60_seconds": DEADLINES,
    "test_stop.py::test_heartbeat_that_hangs_does_not_hold_the_stop": DEADLINES,
}


def is_meant(nodeid):
    """Whether a case, as pytest names it, stands here."""
    path, _, case = nodeid.partition("::")
    file = path.rpartition("/")[2]
    return file in OWN or f"{file}::{case.partition('[')[0]}" in MEANT
