// test_port - a UDP port that no other test, and no socket of a simulated AP, gets while this one lives.
#pragma once

// A daemon that is killed and started again needs the port it had, and in between nobody holds it. The system gives the
// ports of its own range to every socket that asks for none, thousands of them while fleets start; so this port is from
// outside that range, and a name that only one process can hold keeps other tests from choosing it too.
class TestPort {
public:
    TestPort(); // fails the test where no port is to be had
    ~TestPort();
    TestPort(const TestPort&) = delete;
    TestPort& operator=(const TestPort&) = delete;

    int number() const { return number_; }

private:
    bool reserve(int number);

    int number_ = 0;
    int holder_ = -1; // the socket with the name
};
