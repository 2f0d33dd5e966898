#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/fakes/child_process.h"
#include "tests/fakes/eventually.h"
#include "tests/transport/scripted_network.h"

namespace zor {
namespace {

using testing::CompletionsHeld;
using testing::ScriptedNetwork;
using testing::ScriptedURLLoading;
using Texts = std::vector<std::string>;

class HttpDnsResolver : public ::testing::Test {
 protected:
  // What the blocks of one request got, in the order of the calls.
  void resolve(const std::string& host) {
    resolver->resolveIpForHost(
        host, [this, host](const Texts& ips) { note(host + " is " + joined(ips)); },
        [this, host](const std::optional<ZORError>& error) {
          note(host + " failed " + (error ? std::to_string(error->code) : "without error"));
        });
  }
  Texts resolved(const std::string& host) {
    resolve(host);
    ScriptedNetwork::drain();
    return std::exchange(notes, {});
  }
  void note(const std::string& text) {
    const MutexLock lock(mutex);
    notes.push_back(text);
  }
  static std::string joined(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts) all += "<" + text + ">";
    return all;
  }

  ScriptedNetwork network;
  std::shared_ptr<ZORHTTPDNSManager> resolver = ZORHTTPDNSManager::sharedInstance();
  Mutex mutex;
  Texts notes;
};

TEST_F(HttpDnsResolver, FindsItsServiceFirstAndThenKeepsEveryAnswer) {
  network.machine.random.next({5});  // The third of three addresses.
  network.set(ScriptedNetwork::bootstrapUrl("192.0.2.3"),
              ScriptedNetwork::addresses("198.51.100.1,198.51.100.2"));
  network.set(ScriptedNetwork::queryUrl("a.example"), ScriptedNetwork::addresses("10.0.0.1"));
  network.set(ScriptedNetwork::queryUrl("b.example"), ScriptedNetwork::addresses("10.0.0.2"));
  EXPECT_EQ(resolved("a.example"), Texts{"a.example is <10.0.0.1>"});
  EXPECT_EQ(resolved("b.example"), Texts{"b.example is <10.0.0.2>"});
  resolve("a.example");  // Answered before it returns.
  EXPECT_EQ(notes, Texts{"a.example is <10.0.0.1>"});
  EXPECT_EQ(network.urls(), (Texts{ScriptedNetwork::bootstrapUrl("192.0.2.3"),
                                   ScriptedNetwork::queryUrl("a.example"),
                                   ScriptedNetwork::queryUrl("b.example")}));
  EXPECT_EQ(resolver->ipForHost("dns.example", 1), "198.51.100.1");  // Whatever the index.
  EXPECT_EQ(resolver->ipForHost("c.example", 0), std::nullopt);
}

TEST_F(HttpDnsResolver, SplitsTheHeaderAndKeepsEmptyPieces) {
  const std::string large = std::string(64 << 10, ',');
  const struct {
    std::string header;
    Texts notes;
  } rows[] = {{"10.0.0.1", {"h0 is <10.0.0.1>"}},
              {",a,,b,", {"h1 is <><a><><b><>"}},
              {",", {"h2 is <><>"}},
              {" ", {"h3 is < >"}},
              {"", {"h4 failed -71003"}}};
  for (std::size_t row = 0; row < std::size(rows); ++row) {
    const std::string host = "h" + std::to_string(row);
    network.resolve(host, rows[row].header);
    EXPECT_EQ(resolved(host), rows[row].notes);
  }
  network.resolve("large", large);
  EXPECT_EQ(resolved("large").size(), 1U);
  EXPECT_EQ(resolver->ipsForHost("large")->size(), large.size() + 1);
}

TEST_F(HttpDnsResolver, OneQueryAnswersAllWhoAskMeanwhileInTheirOrder) {
  network.resolve("warm-up", "10.0.0.9");
  resolved("warm-up");
  network.resolve("a.example", "10.0.0.1");
  {
    const CompletionsHeld held;
    for (int index = 0; index < 3; ++index) {
      resolver->resolveIpForHost(
          "a.example", [this, index](const Texts&) { note(std::to_string(index)); }, nullptr);
    }
    resolver->resolveIpForHost(
        "a.example", [](const Texts&) { throw 1; }, nullptr);
    resolver->resolveIpForHost("a.example", nullptr, nullptr);
    resolve("a.example");
    EXPECT_FALSE(resolver->checkIfNeedResolveHost("a.example"));
  }
  ScriptedNetwork::drain();
  EXPECT_EQ(notes, (Texts{"0", "1", "2", "a.example is <10.0.0.1>"}));
  EXPECT_EQ(network.urls().size(), 3U);
  EXPECT_TRUE(resolver->checkIfNeedResolveHost("a.example"));
}

TEST_F(HttpDnsResolver, AHostThatIsKnownIsQueriedAgainForThoseWhoWaitedForTheService) {
  network.resolve("a.example", "10.0.0.1");
  {
    const CompletionsHeld held;
    resolve("a.example");
    // Called between the two that wait for a.example; lets the first of them have its answer.
    resolver->resolveIpForHost(
        "dns.example",
        [this](const Texts&) {
          EXPECT_TRUE(testing::eventually([this] {
            return resolver->ipsForHost("a.example") &&
                   resolver->checkIfNeedResolveHost("a.example");
          }));
        },
        nullptr);
    resolve("a.example");
  }
  ScriptedNetwork::drain();
  EXPECT_EQ(notes.size(), 2U);
  const Texts urls = network.urls();
  EXPECT_EQ(std::count(urls.begin(), urls.end(), ScriptedNetwork::queryUrl("a.example")), 2);
}

TEST_F(HttpDnsResolver, TwoFailuresAreRepeatedBetweenTwoSuccessesWhateverTheHosts) {
  network.resolve("good", "10.0.0.1");
  const auto queries = [this](const std::string& host) {
    const auto before = network.urls().size();
    resolved(host);
    return network.urls().size() - before;
  };
  EXPECT_EQ(queries("good"), 2U);  // The service, and the host.
  EXPECT_EQ(queries("bad.one"), 3U);
  EXPECT_EQ(queries("bad.one"), 1U);
  EXPECT_EQ(queries("bad.two"), 1U);
  network.resolve("better", "10.0.0.1");
  EXPECT_EQ(queries("better"), 1U);
  EXPECT_EQ(queries("bad.two"), 3U);
}

TEST_F(HttpDnsResolver, RepeatsOfTheServicesOwnLookUpChooseAnotherAddress) {
  network.machine.random.next({2, 0, 1});
  EXPECT_EQ(resolved("a.example"), Texts{"a.example failed -1004"});
  EXPECT_EQ(network.urls(), (Texts{ScriptedNetwork::bootstrapUrl("192.0.2.3"),
                                   ScriptedNetwork::bootstrapUrl("192.0.2.1"),
                                   ScriptedNetwork::bootstrapUrl("192.0.2.2")}));
}

TEST_F(HttpDnsResolver, AnotherStatusReachesTheBlocksWithoutAnErrorAndIsReportedWithoutOne) {
  network.resolve("a.example", "10.0.0.1");
  const std::string url = ScriptedNetwork::queryUrl("a.example");
  network.set(url, ScriptedURLLoading::status(302));
  EXPECT_EQ(resolved("a.example"), Texts{"a.example failed without error"});
  network.set(url, ScriptedURLLoading::unreachable());
  EXPECT_EQ(resolved("a.example"), Texts{"a.example failed -1004"});
  network.resolve("a.example", "");  // Is reported by the blocks alone.
  EXPECT_EQ(resolved("a.example"), Texts{"a.example failed -71003"});
  const std::pair<std::string, std::string> byStatus = {
      "httpdns_failed", "status:302 domain:(null) code:0 text:(null) endpoint:" + url};
  const std::pair<std::string, std::string> byTransport = {
      "httpdns_failed",
      "status:0 domain:NSURLErrorDomain code:-1004 text:No route endpoint:" + url};
  EXPECT_EQ(network.failures(), (std::vector{byStatus, byStatus, byStatus, byTransport}));
}

TEST_F(HttpDnsResolver, ABootstrapThatMakesNoUrlLeavesItsHostInFlightForGood) {
  for (const Texts& ips : {Texts{"192.0.2.1/x"}, Texts{}}) {
    resolver = ZORHTTPDNSManager::create(ZORHttpDnsConfig("dns.example", ips));
    EXPECT_EQ(resolved("a.example"), Texts{});
    EXPECT_FALSE(resolver->checkIfNeedResolveHost("dns.example"));
    EXPECT_EQ(resolved("b.example"), Texts{});
  }
  EXPECT_EQ(network.urls(), Texts{});
}

TEST_F(HttpDnsResolver, WithoutAServiceEveryLookUpFailsAtOnceAndARecordSaysWhy) {
  resolver = ZORHTTPDNSManager::create(ZORHttpDnsConfig("", {}));
  resolve("a.example");  // Answered before it returns.
  EXPECT_EQ(notes, Texts{"a.example failed -71003"});
  EXPECT_EQ(network.urls(), Texts{});
  ASSERT_EQ(network.failures().size(), 1U);
  EXPECT_THAT(network.failures()[0].second, ::testing::HasSubstr("no HTTPDNS service"));
}

TEST_F(HttpDnsResolver, APieceThatIsNotAHostEndsAsAFailedLookUpAndLeadsNowhere) {
  const auto look = [this](const std::string& serviceAddress, const std::string& host) {
    resolver = ZORHTTPDNSManager::create(ZORHttpDnsConfig("dns.example", {"192.0.2.1"}));
    network.resolve(host, "10.0.0.1");
    network.set(ScriptedNetwork::bootstrapUrl("192.0.2.1"),
                ScriptedNetwork::addresses(serviceAddress));
    const auto before = network.urls().size();
    EXPECT_EQ(resolved(host), Texts{host + " failed -1004"});
    EXPECT_EQ(network.urls().size(), before + 4);
    EXPECT_EQ(network.urls().back(), "");
  };
  for (const char* address :
       {"evil.example/", "u@evil.example", "evil.example:444", "evil.example#", "evil.example?",
        "evil.example", " 10.0.0.1", ",10.0.0.1", "%31"}) {
    look(address, "a.example");
  }
  for (const char* host : {"a.example&h=b", "a.example#", "", "a b", "a/b"}) look("10.0.0.1", host);
  resolver = ZORHTTPDNSManager::create(ZORHttpDnsConfig("dns.example", {"192.0.2.1"}));
  network.set("https://[2001:db8::1]/q?h=a.example", ScriptedNetwork::addresses("10.0.0.1"));
  network.set(ScriptedNetwork::bootstrapUrl("192.0.2.1"),
              ScriptedNetwork::addresses("2001:db8::1"));
  EXPECT_EQ(resolved("a.example"), Texts{"a.example is <10.0.0.1>"});
}

TEST_F(HttpDnsResolver, ALookUpKeepsTheResolverAliveUntilItHasAnswered) {
  resolver = ZORHTTPDNSManager::create(ZORHttpDnsConfig("a.example", {"192.0.2.1"}));
  network.set("https://192.0.2.1:8443/resolve?dns=a.example",
              ScriptedNetwork::addresses("10.0.0.1"));
  {
    const CompletionsHeld held;
    resolve("a.example");
    resolver.reset();
  }
  ScriptedNetwork::drain();
  EXPECT_EQ(notes, Texts{"a.example is <10.0.0.1>"});
}

TEST_F(HttpDnsResolver, AnswersEveryCallerOnceWhateverComesBetween) {
  network.resolve("shared", "10.0.0.1");
  for (int index = 0; index < 50; index += 2) {
    network.resolve("h" + std::to_string(index), "10.0.0.2");  // The others fail.
  }
  std::atomic<int> answered{0};
  std::vector<std::thread> callers;
  for (int index = 0; index < 50; ++index) {
    callers.emplace_back([&, index] {
      for (const std::string& host : {std::string("shared"), "h" + std::to_string(index)}) {
        resolver->resolveIpForHost(
            host, [&](const Texts&) { ++answered; },
            [&](const std::optional<ZORError>&) { ++answered; });
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  ScriptedNetwork::drain();
  EXPECT_EQ(answered, 100);
}

TEST_F(HttpDnsResolver, AChildForgetsLookUpsInFlightAndMakesItsOwn) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  network.resolve("a.example", "10.0.0.1");
  {
    const CompletionsHeld held;
    resolve("a.example");
    const pid_t child = ::fork();
    if (child == 0) {
      const bool forgotten = resolver->checkIfNeedResolveHost("dns.example");
      ::_exit(forgotten && resolved("a.example").size() == 1 ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  ScriptedNetwork::drain();
  EXPECT_EQ(notes, Texts{"a.example is <10.0.0.1>"});
}

}  // namespace
}  // namespace zor
