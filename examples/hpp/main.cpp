// The library on this machine in C++ without its headers: prints what fires and what does not.
//
//   c++ -std=c++17 main.cpp $(pkg-config --cflags --libs ksbeacon) -o kiosk
//   ./kiosk http://127.0.0.1:8080/app
#include <iostream>
#include <ksbeacon/ksbeacon.hpp>

int main(int argc, char** argv) try {
  ksbeacon::Application application;
  application.portalURL = argc > 1 ? argv[1] : "http://127.0.0.1:8080/app";
  application.username = "demo";
  application.password = "demo";
  application.bundleIdentifier = "org.ksbeacon.examples.kiosk";
  bool isOver = false;
  ksbeacon::Handlers handlers;
  handlers.onContent = [](const ksbeacon::Event& event) { std::cout << event.text << std::endl; };
  handlers.onRefused = [](const ksbeacon::Event& event) {
    std::cout << "held back by " << event.detail << ": " << event.text << std::endl;
  };
  handlers.onStarted = [&](const std::string& problem) {
    std::cout << (problem.empty() ? "running" : problem) << std::endl;
    isOver = !problem.empty();
  };
  auto device = ksbeacon::Device::linuxMachine(application, handlers);
  device.start();
  device.setActive(true);
  while (!isOver) device.runOnce(1000);
  return 1;
} catch (const ksbeacon::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
