# SPDX-License-Identifier: MIT
"""docs/openapi.yaml against the running programs. usage: walk_test.py ROOT PROGRAMS"""

import copy
import pathlib
import sys
import unittest

from daemon import RunningUnit
from description import Description
from judge import Judge, Record
from walk import Walk

ROOT = pathlib.Path(sys.argv.pop(1))
PROGRAMS = sys.argv.pop(1)
DESCRIPTION = Description.read(ROOT / "docs" / "openapi.yaml")
RECORD = Record()
LOGS = {}


def setUpModule():
    unit = RunningUnit(ROOT, PROGRAMS)
    try:
        walk = Walk(unit, DESCRIPTION, ROOT)
        RECORD.exchanges, RECORD.templates = walk.record.exchanges, walk.record.templates
    finally:
        unit.stop()
        LOGS.update(unit.logs())
        unit.remove()


class TheRunningUnit(unittest.TestCase):
    def test_serves_what_is_described_and_nothing_else(self):
        self.assertEqual(Judge(DESCRIPTION, RECORD).findings, [])

    def test_gives_a_sanitizer_nothing_to_find(self):
        for name, log in LOGS.items():
            self.assertNotIn("Sanitizer", log, name)

    def test_has_been_asked(self):
        self.assertIn("web_app", LOGS)
        self.assertGreater(len(RECORD.exchanges), 1000)


class AChangedDescription(unittest.TestCase):
    """The same walk does not fit a description that says anything else."""

    def setUp(self):
        self.document = copy.deepcopy(DESCRIPTION.document)
        self.paths = self.document["paths"]
        self.schemas = self.document["components"]["schemas"]

    def assert_found(self, *findings):
        found = Judge(Description(self.document), RECORD).findings
        for finding in findings:
            self.assertTrue([text for text in found if finding in text], (finding, found))

    def test_that_lacks_a_resource(self):
        del self.paths["/system/status"]
        self.assert_found("/system/status: is served and not described",
                          "GET /system/status: answers 200, and no path is like it")

    def test_that_lacks_the_entries_of_a_collection(self):
        del self.paths["/system/user-events/alerts/{ev_id}"]
        self.assert_found("/system/user-events/alerts/*: is served and not described")

    def test_that_lacks_a_container(self):
        del self.paths["/system/oem"]
        self.assert_found("/system/oem: is served and not described")

    def test_that_lacks_a_push_channel(self):
        del self.paths["/publish"]
        self.assert_found("/publish: is served and not described")

    def test_that_has_a_resource_more(self):
        self.paths["/system/clock"] = self.paths["/system/status"]
        self.assert_found("/system/clock: is described and not served",
                          "GET /system/clock: 200 is described and was not answered")

    def test_that_lacks_a_method(self):
        del self.paths["/example/test"]["put"]
        self.assert_found("PUT /example/test: answers 200, which is not described")

    def test_that_has_a_method_more(self):
        self.paths["/system/info"]["delete"] = self.paths["/example/test/dynamic"]["delete"]
        self.assert_found("DELETE /system/info: answers 405, which is not described")

    def test_that_lacks_a_status(self):
        del self.paths["/system/debug/syslog-rules"]["post"]["responses"]["409"]
        self.assert_found("POST /system/debug/syslog-rules: answers 409, which is not described")

    def test_that_has_a_status_more(self):
        responses = self.paths["/system/info"]["get"]["responses"]
        responses["404"] = responses["401"]
        self.assert_found("GET /system/info: 404 is described and was not answered")

    def test_with_another_status_for_other_methods(self):
        self.paths["/system/user-events/alerts/{ev_id}"]["x-other-methods"]["POST"] = [405]
        self.assert_found("POST /system/user-events/alerts/{ev_id}: answers 400, which is not described")

    def test_with_another_status_for_entries_that_are_not_there(self):
        self.paths["/example/test/static/{id}"]["x-other-methods"]["DELETE"] = [404, 405]
        self.assert_found("DELETE /example/test/static/{id}: answers 405, which is not described",
                          "DELETE /example/test/static/{id}: answers 404, which is not described")

    def test_with_another_type_of_a_member_in_answers(self):
        self.schemas["Status"]["properties"]["uptime"] = {"type": "string"}
        self.assert_found("GET /system/status: 200: uptime: ")

    def test_that_lacks_a_member_in_answers(self):
        del self.schemas["Status"]["properties"]["uptime"]
        self.assert_found("GET /system/status: 200: ")

    def test_that_lacks_a_value_of_a_member_in_answers(self):
        self.schemas["Command"]["properties"]["status"] = {"enum": ["RUNNING"]}
        self.assert_found("GET /system/oem/privileged-cmds: 200: ")

    def test_with_more_values_of_a_member_in_answers(self):
        self.schemas["Command"]["properties"]["status"]["enum"].append("KILLED")
        self.assert_found('Command/status: "KILLED" is described and was never answered')

    def test_with_more_types_of_a_member_in_answers(self):
        self.schemas["StaticEntry"]["properties"]["abc"]["type"].append("integer")
        self.assert_found("StaticEntry/abc: integer is described and was never answered")

    def test_that_demands_a_member_more_in_answers(self):
        self.schemas["Test"]["required"] = ["a", "b", "c", "d"]
        self.assert_found("GET /example/test: 200: ")

    def test_with_a_body_where_there_is_none(self):
        self.paths["/example/test"]["put"]["responses"]["200"] = self.paths["/example/test"]["get"]["responses"]["200"]
        self.assert_found("PUT /example/test: 200: has no body")

    def test_without_the_body_that_there_is(self):
        del self.paths["/example/test"]["get"]["responses"]["200"]["content"]
        self.assert_found("GET /example/test: 200: has a body of application/json, which is not described")

    def test_with_another_media_type(self):
        content = self.paths["/example/test"]["get"]["responses"]["200"]["content"]
        content["text/plain"] = content.pop("application/json")
        self.assert_found("GET /example/test: 200: has a body of application/json, which is not described")

    def test_with_another_page_for_what_no_resource_has_seen(self):
        self.schemas["Page"]["pattern"] = "^<html>"
        self.assert_found("PATCH /system/info: the value: ", "GET /publish: the value: ")

    def test_that_lacks_a_header(self):
        del self.paths["/activity"]["get"]["responses"]["200"]["headers"]["Etag"]
        self.assert_found("GET /activity: 200: header etag is not described")

    def test_that_demands_a_header_more(self):
        self.document["components"]["headers"]["Cookie"]["required"] = True
        self.assert_found("has no header set-cookie")

    def test_with_a_header_that_never_comes(self):
        headers = self.paths["/activity"]["get"]["responses"]["200"]["headers"]
        headers["Expires"] = {"schema": {"type": "string"}}
        self.assert_found("GET /activity: 200: the header Expires was never there")

    def test_with_another_form_of_a_header(self):
        self.document["components"]["headers"]["Instance"]["schema"]["pattern"] = "^[0-9]+$"
        self.assert_found("GET /system/info: 200: header x-server-instance: ")

    def test_with_another_type_of_a_member_in_requests(self):
        self.schemas["TestUpdate"]["properties"]["a"] = {"type": "integer"}
        self.assert_found("PUT /example/test: 400 for {'data': {'a': 0}}, which is as described",
                          "PUT /example/test: 200 for {'data': {'a': ''}}, which is not what is described")

    def test_with_another_limit_of_a_number_in_requests(self):
        self.schemas["OemSnmpUpdate"]["properties"]["sys_services"]["exclusiveMaximum"] = 129
        self.assert_found("PUT /system/info/oem-snmp: 400 for {'data': {'sys_services': 128}}, which is as described")

    def test_with_another_limit_of_a_whole_number_in_requests(self):
        self.schemas["TestUpdate"]["properties"]["c"]["maximum"] = 2147483648
        self.assert_found("PUT /example/test: 400 for {'data': {'c': 2147483648}}, which is as described")

    def test_that_knows_of_no_refusal_without_a_payload(self):
        body = self.paths["/system/debug"]["put"]["requestBody"]["content"]["application/json"]
        del body["schema"]["required"]
        self.assert_found("PUT /system/debug: 500 for {}, which is as described")

    def test_with_more_values_of_a_member_in_requests(self):
        self.schemas["DataInclude"]["enum"].append("text")
        self.assert_found("PUT /system/subscriptions/{resource}: 400 for {'data': {'data_include': 'text'}}")

    def test_that_demands_a_member_more_in_requests(self):
        self.schemas["EntryUpdate"]["required"] = ["abc"]
        self.assert_found("POST /example/test/dynamic: 201 for {'data': {'def': ''}}, which is not what is described")

    def test_that_demands_no_member_in_requests(self):
        del self.schemas["CommandCreate"]["required"]
        self.assert_found("POST /system/oem/privileged-cmds: 400 for ")

    def test_that_demands_a_body_where_none_is_needed(self):
        self.document["components"]["requestBodies"]["SubscriptionCreate"]["required"] = True
        self.assert_found("POST /system/subscriptions/{resource}: 201 for None, which is not what is described")

    def test_with_an_example_that_was_not_taken(self):
        body = self.document["components"]["requestBodies"]["EntryUpdate"]
        body["content"]["application/json"]["examples"]["none"] = {"value": {"data": {}}}
        self.assert_found("POST /example/test/dynamic: the example none was not taken")

    def test_with_another_type_of_a_parameter(self):
        self.paths["/example/test/static/{id}"]["parameters"][0]["schema"] = {"enum": ["y", "z"]}
        self.assert_found("GET /example/test/static/{id}: 200: parameter id: ")


if __name__ == "__main__":
    unittest.main()
