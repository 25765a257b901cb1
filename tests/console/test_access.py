"""Every route, asked in every way that gives no right to it: all of it is refused, and nothing is changed."""
import json
import os
import unittest

from console import PASSWORD, STATE, Client, ConsoleTest, make_first_password, until

ROUTES = {
    "GET /api/v1/session": None, "DELETE /api/v1/session": None, "PUT /api/v1/password": None,
    "GET /api/v1/tokens": "session", "POST /api/v1/tokens": "session", "DELETE /api/v1/tokens/{id}": "session",
    "GET /api/v1/settings": "read", "GET /api/v1/status": "read", "GET /api/v1/rules": "read", "GET /api/v1/health": "read",
    "GET /api/v1/devices": "read", "GET /api/v1/blocked": "read", "GET /api/v1/metrics": "read", "GET /api/v1/events": "read", "POST /api/v1/explain": "read",
    "POST /api/v1/plan": "plan",
    "POST /api/v1/apply": "apply", "POST /api/v1/confirm": "apply", "POST /api/v1/extend": "apply",
    "POST /api/v1/revert": "apply", "GET /api/v1/history": "read", "POST /api/v1/undo": "apply",
    "GET /api/v1/backup": "read", "POST /api/v1/restore": "apply",
}  # fmt: skip
# The way in has no session yet; the page has no secret.
OPEN = {"POST /api/v1/session", "GET /", "GET /app.css", "GET /app.js"}
METHODS = ("GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PROPFIND", "get")
SCOPES = ("read", "plan", "apply")
FOREIGN_HOSTS = ("evil.example", "evil.example:8443", "127.0.0.1", "127.0.0.1:80", "127.0.0.1:8443.evil.example", "192.168.1.1:8443",
                 "127.0.0.1:8443:8443", "localhost@evil.example:8443", "", "[::1]:8443", "[127.0.0.1]:8443", "0177.0.0.1:8443",
                 "127.1:8443", "127.0.0.1:08443", "127.0.0.1:8443:")  # fmt: skip
FOREIGN_ORIGINS = ("https://evil.example", "null", "http://127.0.0.1:8443", "https://127.0.0.1", "https://127.0.0.1:8444",
                   "https://127.0.0.1:8443.evil.example", "")  # fmt: skip
WRONG_TYPES = (None, "text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "application/jsonp",
               "application/json, text/plain", "application/json; charset=utf-16", "text/json")  # fmt: skip


def listed(server):
    """The routes that the program says it has."""
    return set(os.popen(f"{server} --routes").read().splitlines())


class WithTokens(ConsoleTest):
    def delete_tokens(self):
        for token in self.client.get("tokens").json["tokens"]:
            self.assertEqual(self.client.send("DELETE", "tokens/" + token["id"]).status, 204)


class Access(WithTokens):
    def setUp(self):
        super().setUp()
        self.delete_tokens()
        self.count = 0
        self.other = Client()
        self.other.log_in()
        self.tokens = {scope: self.client.post("tokens", {"name": scope, "scope": scope}).json["token"] for scope in SCOPES}

    def send(self, client, route, **changed):
        method, path = route.split(" ")
        path = path.removeprefix("/api/v1/").replace("{id}", "0123456789abcdef")
        body = {"vpn_pass_through": True} if method not in ("GET", "DELETE") else None
        return client.send(method, path, body, **changed)

    def refused(self, client, route, statuses, **changed):
        """Asks and is refused with one of these statuses, as a problem without any data."""
        answer = self.send(client, route, **changed)
        self.assertIn(answer.status, statuses, f"{route} {changed} {answer}")
        self.assertEqual(answer.headers["Content-Type"], "application/problem+json")
        self.assertNotIn("Set-Cookie", answer.headers)
        self.count += 1

    def state(self):
        return (self.client.get("settings").headers["ETag"], self.client.get("tokens").json, self.client.get("session").status)

    def test_the_list_of_routes_is_complete(self):
        self.assertEqual(listed(os.environ["L3_CONSOLE"]), set(ROUTES) | OPEN)

    def test_matrix(self):
        before = self.state()
        for route, need in ROUTES.items():
            is_change = not route.startswith("GET")
            self.refused(Client(), route, {401})
            for cookie in ("__Host-l3=" + "0" * 64, "__Host-l3=", "l3-plain=" + self.client.cookie.split("=")[1],
                           self.client.cookie + "; " + self.client.cookie, self.client.cookie[:-1]):
                self.refused(self.client, route, {401}, Cookie=cookie)
            for token in ("l3_" + "0" * 64, "", "x", self.client.cookie):
                self.refused(self.client, route, {401}, Authorization="Bearer " + token)
            self.refused(self.client, route, {401}, Authorization="Basic YWRtaW46YWRtaW4=")
            for host in FOREIGN_HOSTS:
                self.refused(self.client, route, {421, 400}, Host=host)
            if is_change:
                for csrf in (None, "", self.other.csrf, self.client.csrf[:-1]):
                    self.refused(self.client, route, {403}, X_L3_Token=csrf)
                for origin in FOREIGN_ORIGINS:
                    self.refused(self.client, route, {403}, Origin=origin)
                    self.refused(self.client, route, {403}, Origin=origin, Sec_Fetch_Site=None)
                for site in ("cross-site", "same-site", "none", None, ""):
                    self.refused(self.client, route, {403}, Sec_Fetch_Site=site)
                for kind in WRONG_TYPES:
                    self.refused(self.client, route, {415}, Content_Type=kind)
            for scope in SCOPES:
                client = Client()
                client.token = self.tokens[scope]
                too_small = need in SCOPES and SCOPES.index(scope) < SCOPES.index(need)
                if too_small or need == "session" or route.startswith("PUT"):
                    self.refused(client, route, {403})
                if is_change:
                    self.refused(client, route, {403}, Origin="https://evil.example")
                    self.refused(client, route, {415}, Content_Type="text/plain")
        self.assertEqual(self.state(), before)
        print(f"{len(ROUTES)} routes, {self.count} ways to ask without right: all refused")
        self.assertGreater(self.count, 900)

    def test_methods_that_a_route_does_not_have(self):
        known = listed(os.environ["L3_CONSOLE"])
        for path in sorted({route.split(" ")[1] for route in known}):
            for method in METHODS:
                if f"{method} {path}" not in known and not (path == "/" and method == "CONNECT"):
                    with self.subTest(method=method, path=path):
                        answer = self.send(self.client, f"{method} {path}")
                        self.assertEqual(answer.status, 405)
                        self.assertEqual({f"{one} {path}" for one in answer.headers["Allow"].split(", ")} - known, set())
        for path in ("x", "settings/", "settings/x", "tokens/", "tokens/a/b", "../settings", "SETTINGS", "events%00"):
            self.assert_problem(self.client.get(path), 404, "not_found")

    def test_log_in_from_elsewhere(self):
        client = Client()
        body = {"password": "x"}
        for changed, status in (({"Sec_Fetch_Site": "cross-site"}, 403), ({"Sec_Fetch_Site": None}, 403), ({"Content_Type": "text/plain"}, 415),
                                ({"Host": "evil.example:8443"}, 421), ({"Origin": "https://evil.example"}, 403)):  # fmt: skip
            self.assertEqual(client.post("session", body, **changed).status, status)

    def test_before_the_first_password_is_changed(self):
        first = make_first_password()
        client = Client()
        self.assertTrue(client.log_in(first).json["must_change_password"])
        for route in ROUTES:
            if route not in ("GET /api/v1/session", "DELETE /api/v1/session", "PUT /api/v1/password"):
                answer = self.send(client, route)
                self.assertEqual((answer.status, answer.code), (403, "password_change_required"), route)
        self.assertEqual(client.send("PUT", "password", {"current": first, "new": PASSWORD}).status, 204)
        self.assertEqual(client.get("status").status, 200)

    def test_a_session_that_was_ended(self):
        cookie, csrf = self.client.cookie, self.client.csrf
        answer = self.client.send("DELETE", "session")
        self.assertEqual(answer.status, 204)
        self.assertIn("Max-Age=0", answer.headers["Set-Cookie"])
        self.client.cookie, self.client.csrf = cookie, csrf
        for route in ROUTES:
            self.refused(self.client, route, {401})

    def test_doubled_headers(self):
        # http.client sends what it is told to; a pair of one name is made by hand.
        for name, value in (("Host", "127.0.0.1:8443"), ("Cookie", self.client.cookie), ("Authorization", "Bearer x"),
                            ("X-L3-Token", self.client.csrf), ("Origin", "https://127.0.0.1:8443")):  # fmt: skip
            connection = self.client.connect()
            connection.putrequest("POST", "/api/v1/revert", skip_host=True)
            for own, text in {**self.client.headers("POST"), "Content-Length": "0"}.items():
                if own != name:
                    connection.putheader(own, text)
            connection.putheader(name, value)
            connection.putheader(name, value)
            connection.endheaders()
            self.assertEqual(connection.getresponse().status, 400, name)
            connection.close()


class Responses(WithTokens):
    def test_headers_of_every_response(self):
        for answer in (self.client.get("/"), self.client.get("status"), self.client.get("nothing"), self.client.get("settings"),
                       Client().get("status"), self.client.post("plan", "x"), self.client.post("plan", b"x" * 300000)):  # fmt: skip
            headers = answer.headers
            policy = headers["Content-Security-Policy"]
            for part in ("default-src 'none'", "script-src 'self'", "frame-ancestors 'none'", "base-uri 'none'",
                         "require-trusted-types-for 'script'"):  # fmt: skip
                self.assertIn(part, policy)
            self.assertNotIn("unsafe", policy)
            self.assertEqual((headers["X-Content-Type-Options"], headers["Referrer-Policy"], headers["Cache-Control"]),
                             ("nosniff", "no-referrer", "no-store"))  # fmt: skip
            self.assertFalse([name for name in headers if name.lower().startswith("access-control-") or name.lower() == "server"])

    def test_what_the_page_says(self):
        answer = self.client.get("/")
        self.assertEqual(answer.status, 200)
        self.assertIn(b"/api/v1", answer.data)

    def test_tokens_do_what_their_scope_says(self):
        token = self.client.post("tokens", {"name": "job", "scope": "plan"}).json
        program = Client()
        program.token = token["token"]
        self.assertEqual(program.get("session").json, {"kind": "token", "scope": "plan"})
        self.assertEqual([program.get("status").status, program.post("plan", {}).status], [200, 200])
        self.assertIn({"id": token["id"], "name": "job", "scope": "plan"}, self.client.get("tokens").json["tokens"])
        self.assertEqual(self.client.send("DELETE", "tokens/" + token["id"]).status, 204)
        self.assertEqual(program.get("status").status, 401)

    def test_secrets_are_stored_hashed(self):
        token = self.client.post("tokens", {"name": "job", "scope": "read"}).json["token"]
        stored = b"".join(path.read_bytes() for path in STATE.iterdir())
        self.assertIn(b"$y$", stored)
        for secret in (token, token.removeprefix("l3_"), "seven wet otters sing", self.client.csrf):
            self.assertNotIn(secret.encode(), stored)

    def test_tokens_that_are_none(self):
        for body in ({}, {"name": "x"}, {"name": "", "scope": "read"}, {"name": "x", "scope": "all"}, {"name": "a;b", "scope": "read"},
                     {"name": "x" * 33, "scope": "read"}, {"name": 1, "scope": "read"}, {"name": "x", "scope": "read", "more": "x"}, []):
            self.assert_problem(self.client.post("tokens", body), 422, "body")
        for number in range(16 - len(self.client.get("tokens").json["tokens"])):
            self.assertEqual(self.client.post("tokens", {"name": str(number), "scope": "read"}).status, 201)
        self.assert_problem(self.client.post("tokens", {"name": "x", "scope": "read"}), 409, "too_many_tokens")
        self.delete_tokens()


class LogIn(ConsoleTest):
    def test_cookie(self):
        answer = Client().log_in()
        name, *flags = answer.headers["Set-Cookie"].split("; ")
        self.assertRegex(name, "^__Host-l3=[0-9a-f]{64}$")
        self.assertEqual(set(flags), {"Path=/", "HttpOnly", "SameSite=Strict", "Secure"})
        self.assertNotEqual(answer.headers["Set-Cookie"], Client().log_in().headers["Set-Cookie"])

    def test_passwords_that_are_too_weak(self):
        for new in ("short", "x" * 11, "a" * 20, "abcabcabcabc", "123456789012", "abcdefghijkl", "Password1234", "adminadmin123", "x" * 300):
            answer = self.client.send("PUT", "password", {"current": "seven wet otters sing", "new": new})
            self.assertEqual((answer.status, answer.code), (422, "weak_password"), new)
        self.assertEqual(Client().log_in().status, 201)

    def test_a_new_password_ends_all_other_sessions(self):
        other = Client()
        other.log_in()
        wrong = self.client.send("PUT", "password", {"current": "no", "new": "a quite new password"})
        self.assert_problem(wrong, 403, "wrong_password")
        new = "ein neues Passwort, ganz lang ä"
        self.assertEqual(self.client.send("PUT", "password", {"current": "seven wet otters sing", "new": new}).status, 204)
        self.assertEqual((self.client.get("session").status, other.get("session").status), (200, 401))
        self.assertEqual((Client().log_in().status, Client().log_in(new).status), (403, 201))
        self.assertEqual(self.client.send("PUT", "password", {"current": new, "new": PASSWORD}).status, 204)

    def test_strangers_wait_and_sessions_do_not(self):
        stranger = Client(source="127.0.0.9")
        for _ in range(5):
            self.assert_problem(stranger.log_in("wrong"), 403, "wrong_password")

        def has_to_wait():
            answer = stranger.log_in("wrong")
            return answer.status == 429 and int(answer.headers["Retry-After"]) >= 2

        # The first wait is a second, which may be over at once; each failure doubles it.
        self.assertTrue(until(has_to_wait))
        answer = self.assert_problem(stranger.log_in(), 429, "too_many_attempts")
        self.assertGreaterEqual(int(answer.headers["Retry-After"]), 1)
        self.assertEqual(self.client.get("status").status, 200)
        self.assertEqual(Client().log_in().status, 201)

    def test_what_is_written_to_the_log(self):
        """Whoever logs in, fails to, and makes or deletes a token; no secret."""
        begun = len(self.server.log.read_text())
        client = Client(source="127.0.0.8")
        client.log_in("wrong secret")
        client.log_in()
        made = client.post("tokens", {"name": "watch", "scope": "read"}).json
        client.send("DELETE", "tokens/" + made["id"])
        for old, new in ((PASSWORD, "a quite new password"), ("a quite new password", PASSWORD)):
            client.send("PUT", "password", {"current": old, "new": new})
        client.send("DELETE", "session")
        self.assertEqual(self.server.log.read_text()[begun:].splitlines(),
                         [f"l3-console: {what} from 127.0.0.8" for what in
                          ("wrong password", "log-in", "token made: watch", "token deleted", "password changed", "password changed",
                           "log-out")])  # fmt: skip

    def test_what_is_no_log_in(self):
        for body in ("", "x", [], {}, {"password": 1}, {"password": "x", "user": "y"}, json.dumps({"password": "x"})[:-1], "[" * 100000):
            self.assert_problem(Client().post("session", body), 422, "body")


if __name__ == "__main__":
    unittest.main()
