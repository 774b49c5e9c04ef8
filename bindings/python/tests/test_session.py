"""What both clients have in common: questions and answers, and when to connect again."""
import itertools
import logging
import random
import time

import pytest

from jaybus import BusError, ClientClosed, ConnectionLost, InvalidValue, Message, NotSent, Reconnect
from jaybus.session import Session, Settings, tell


def settings(reconnect=False, client_id=5, port=23117):
    return Settings.checked(client_id, "127.0.0.1", port, 1.0, reconnect, None, None)


@pytest.fixture
def session():
    one = Session(settings())
    one.open()
    return one


def arrive(session, *messages):
    return session.receive(b"".join(message.encode() for message in messages))


# ---- questions and answers ----

def test_an_answer_comes_from_who_was_asked_with_the_section_of_the_question(session):
    section = session.ask(7, 42, "who waits")
    others = [Message(5, source=8, section=section), Message(5, source=7, section=section + 1), Message(7, source=5, section=section)]
    assert arrive(session, *others) == []
    answer = Message(5, b"yes", source=7, section=section)
    assert arrive(session, answer) == [("who waits", answer)]
    assert list(session.inbox) == others


def test_only_the_first_answer_is_one(session):
    section = session.ask(7, 42, "who waits")
    answer = Message(5, source=7, section=section)
    assert len(arrive(session, answer, answer)) == 1
    assert list(session.inbox) == [answer]


def test_an_answer_that_is_not_waited_for_any_longer_is_an_ordinary_message(session):
    section = session.ask(7, None, "who waits")
    session.forget(7, section, "who waits")
    assert arrive(session, Message(5, source=7, section=section)) == []
    assert len(session.inbox) == 1


def test_forgetting_does_not_touch_a_later_question_of_the_same_section(session):
    session.ask(7, 42, "first")
    arrive(session, Message(5, source=7, section=42))
    session.ask(7, 42, "second")
    session.forget(7, 42, "first")
    assert [waiter for waiter, _ in arrive(session, Message(5, source=7, section=42))] == ["second"]


def test_a_section_under_way_is_refused_signed_or_unsigned(session):
    session.ask(7, 0xFFFFFFFF, "first")
    for same in (0xFFFFFFFF, -1):
        with pytest.raises(InvalidValue, match="under way"):
            session.ask(7, same, "second")
    session.ask(8, -1, "another client")


def test_fresh_sections_differ_from_all_that_are_under_way(session, monkeypatch):
    session.ask(7, 0, "one")
    session.ask(7, 1, "two")
    monkeypatch.setattr(session, "_section", 0x7FFFFFFE)
    assert [session.ask(7, None, "x") for _ in range(3)] == [0x7FFFFFFF, 2, 3]


def test_a_loss_ends_all_questions(session):
    session.ask(7, None, "one")
    session.ask(8, None, "two")
    assert session.lose(ConnectionLost("gone")) == ["one", "two"]
    assert isinstance(session.why_no_answer(), ConnectionLost)
    assert session.lose(ConnectionLost("gone")) == []


def test_half_a_message_is_dropped_with_its_connection(session):
    message = Message(5, b"whole", source=7)
    session.receive(message.encode()[:-1])
    session.lose(ConnectionLost("gone"))
    session.open()
    arrive(session, message)
    assert list(session.inbox) == [message]


# ---- what can be done when ----

def test_states_say_why_nothing_can_be_done():
    session = Session(settings())
    with pytest.raises(ClientClosed, match="connect"):
        session.check_usable()
    with pytest.raises(NotSent):
        session.check_connected()
    session.open()
    session.check_usable()
    session.check_connected()
    session.lose(ConnectionLost("gone"))
    with pytest.raises(ConnectionLost, match="gone"):
        session.check_usable()
    session.closed = True
    for check in (session.check_usable, session.check_connected, session.check_open):
        with pytest.raises(ClientClosed):
            check()


def test_with_reconnect_a_loss_is_no_reason_to_give_up():
    session = Session(settings(reconnect=True))
    session.check_usable()
    session.open()
    session.lose(ConnectionLost("gone"))
    session.check_usable()
    assert not session.is_ready()
    with pytest.raises(NotSent):
        session.check_connected()


# ---- coming back ----

def test_without_reconnect_there_is_no_next_attempt(session):
    assert session.next_delay() is None


def test_delays_grow_up_to_the_longest():
    delays = Reconnect(first=0.5, longest=3, factor=2, jitter=0).delays()
    assert list(itertools.islice(delays, 5)) == [0.5, 1, 2, 3, 3]


def test_jitter_leaves_out_a_random_part(monkeypatch):
    policy = Reconnect(first=1, longest=1, jitter=0.25)
    delays = list(itertools.islice(policy.delays(), 1000))
    assert 0.75 <= min(delays) < 0.76 and 0.99 < max(delays) <= 1
    monkeypatch.setattr(random, "random", lambda: 0.0)
    assert next(policy.delays()) == 1


def test_delays_begin_anew_after_a_connection_that_lasted(monkeypatch):
    now = 1000.0
    monkeypatch.setattr(time, "monotonic", lambda: now)
    session = Session(settings(Reconnect(first=1, longest=8, jitter=0)))

    def lose_after(seconds):
        nonlocal now
        session.open()
        now += seconds
        session.lose(ConnectionLost("gone"))
        return session.next_delay()

    assert [lose_after(1), lose_after(1), lose_after(7.9)] == [1, 2, 4]
    assert [lose_after(8), lose_after(1)] == [1, 2]


def test_a_closed_client_does_not_come_back():
    session = Session(settings(reconnect=True))
    session.closed = True
    assert session.next_delay() is None


@pytest.mark.parametrize("wrong", [Reconnect(first=0), Reconnect(first=2, longest=1), Reconnect(factor=0.5),
                                   Reconnect(jitter=-0.1), Reconnect(jitter=1.1)])
def test_senseless_bounds_are_refused(wrong):
    with pytest.raises(InvalidValue):
        settings(reconnect=wrong)


@pytest.mark.parametrize("wrong", [{"client_id": 32}, {"client_id": -1}, {"client_id": "7"}, {"port": 0}, {"port": 65536}])
def test_senseless_settings_are_refused(wrong):
    with pytest.raises(InvalidValue):
        settings(**wrong)


# ---- the rest ----

def test_a_callback_that_fails_is_logged(caplog):
    def fail():
        raise ZeroDivisionError("oh")

    with caplog.at_level(logging.ERROR, "jaybus"):
        tell(fail)
    assert "ZeroDivisionError: oh" in caplog.text
    tell(None)


def test_every_exception_is_a_bus_error():
    import jaybus.errors as errors
    kinds = [kind for kind in vars(errors).values() if isinstance(kind, type)]
    assert len(kinds) == 8 and all(issubclass(kind, BusError) for kind in kinds)
    assert issubclass(NotSent, ConnectionError) and issubclass(errors.BusTimeout, TimeoutError)
