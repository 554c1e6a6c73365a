// controller - the requests that acctl makes, each a call. All throw ChannelError.
#pragma once

#include "channel.h"
#include "records.h"

namespace acctl {

enum class Dump { joined = 1, clients = 2 };

class Controller {
public:
    Controller(std::string path, double seconds) : channel_(std::move(path), seconds) {}
    const std::string& path() const { return channel_.path(); }

    Counts counts() const;
    std::vector<Ap> aps() const; // in the controller's order, which changes from run to run
    std::optional<ApPage> page(const Mac& mac) const;
    AdvancedPage advanced() const;
    std::optional<std::vector<ApSsids>> ssids() const; // nothing from a controller that doesn't know the request

    // Acknowledged before, or whatever, the work comes to: see what `aps` and its like say afterwards.
    void rename(const Mac& mac, const std::string& name) const;
    void set_channel(const Mac& mac, const CONFIG_CHANNEL& channel) const;
    void set_limit(const Mac& mac, const CONFIG_CLI_LIMIT& limit) const;
    void set_radios(const Mac& mac, const ApPage& page) const;
    void bind(const std::vector<Mac>& macs, const std::array<std::string, policy_count>& names) const;
    void reboot(const std::vector<Mac>& macs) const;
    void restore(const std::vector<Mac>& macs) const;
    void reboot_all() const;
    void restore_all() const;
    void remove(const std::vector<Mac>& macs) const;
    void dump(Dump what) const;

private:
    void change(UINT16 type, std::size_t ap_num, std::vector<UINT8> body) const;
    void tell_all(UINT16 type) const;

    Channel channel_;
};

} // namespace acctl
