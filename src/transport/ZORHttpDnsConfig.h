// Where the HTTP-based DNS service is.
#ifndef ZOR_TRANSPORT_ZORHTTPDNSCONFIG_H_
#define ZOR_TRANSPORT_ZORHTTPDNSCONFIG_H_

#include <string>
#include <utility>
#include <vector>

namespace zor {

// The name of the HTTPDNS service and the addresses at which it is reached until its name is
// resolved. A plain value. Both are empty when there is no such service.
class ZORHttpDnsConfig {
 public:
  ZORHttpDnsConfig(std::string httpDnsHost, std::vector<std::string> ips)
      : _httpDnsHost(std::move(httpDnsHost)), _ips(std::move(ips)) {}

  // The operator's service, or none. Selector: defaultConfig
  static ZORHttpDnsConfig defaultConfig();

  const std::string& httpDnsHost() const { return _httpDnsHost; }
  void setHttpDnsHost(std::string httpDnsHost) { _httpDnsHost = std::move(httpDnsHost); }
  const std::vector<std::string>& ips() const { return _ips; }
  void setIps(std::vector<std::string> ips) { _ips = std::move(ips); }
  bool isOff() const { return _httpDnsHost.empty() && _ips.empty(); }

 private:
  std::string _httpDnsHost;
  std::vector<std::string> _ips;
};

}  // namespace zor

#endif  // ZOR_TRANSPORT_ZORHTTPDNSCONFIG_H_
