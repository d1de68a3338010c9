#include "tavric/ProgressView.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "display/TerminalProgressView.h"
#include "tavric/HeadlessProgressView.h"

namespace tavric {
namespace {

using Call = HeadlessProgressView::Call;

class ProgressViewTest : public ::testing::Test {
 protected:
  void TearDown() override { SetProgressView(nullptr); }
};

TEST_F(ProgressViewTest, WithoutAnInstalledViewTheTerminalViewIsUsed) {
  SetProgressView(nullptr);
  const auto view = CurrentProgressView();
  ASSERT_TRUE(view);
  EXPECT_NE(dynamic_cast<TerminalProgressView*>(view.get()), nullptr);
  // The same default view every time on one thread.
  EXPECT_EQ(CurrentProgressView(), view);
}

TEST_F(ProgressViewTest, AnInstalledViewIsCurrentUntilRemoved) {
  auto headless = std::make_shared<HeadlessProgressView>();
  SetProgressView(headless);
  EXPECT_EQ(CurrentProgressView(), headless);
  SetProgressView(nullptr);
  EXPECT_NE(CurrentProgressView(), headless);
  EXPECT_NE(dynamic_cast<TerminalProgressView*>(CurrentProgressView().get()), nullptr);
}

TEST_F(ProgressViewTest, ViewsAreInstalledPerThread) {
  auto headless = std::make_shared<HeadlessProgressView>();
  SetProgressView(headless);
  std::shared_ptr<ProgressView> seen_elsewhere;
  std::thread([&] { seen_elsewhere = CurrentProgressView(); }).join();
  ASSERT_TRUE(seen_elsewhere);
  EXPECT_NE(seen_elsewhere, headless);
  EXPECT_EQ(CurrentProgressView(), headless);
}

TEST_F(ProgressViewTest, DefaultRunModalShowsRunsTheCallbackOnceAndCloses) {
  HeadlessProgressView view;
  ProgressWindowContent content;
  content.Label3 = "5";
  int runs = 0;
  view.RunModal(content, [&] {
    ++runs;
    EXPECT_TRUE(view.IsShown());
  });
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(view.Calls(), (std::vector<Call>{Call::kShow, Call::kClose}));
  ASSERT_EQ(view.Contents().size(), 1u);
  EXPECT_EQ(view.Contents()[0].Label3, "5");
}

TEST_F(ProgressViewTest, DefaultRunModalClosesWhenTheCallbackThrows) {
  HeadlessProgressView view;
  const ProgressWindowContent content;
  EXPECT_THROW(view.RunModal(content, [] { throw std::logic_error("x"); }), std::logic_error);
  EXPECT_EQ(view.Calls(), (std::vector<Call>{Call::kShow, Call::kClose}));
  EXPECT_FALSE(view.IsShown());
}

TEST(HeadlessProgressView, RecordsEveryCallInOrder) {
  HeadlessProgressView view;
  ProgressWindowContent a;
  ProgressWindowContent b;
  b.LabStep = "b";
  view.Show(a);
  view.Update(b);
  view.Update(b);
  view.PumpMessages();
  view.Close();
  EXPECT_EQ(view.ShowCount(), 1);
  EXPECT_EQ(view.UpdateCount(), 2);
  EXPECT_EQ(view.PumpCount(), 1);
  EXPECT_EQ(view.CloseCount(), 1);
  EXPECT_EQ(view.Calls(), (std::vector<Call>{Call::kShow, Call::kUpdate, Call::kUpdate,
                                             Call::kPumpMessages, Call::kClose}));
  ASSERT_EQ(view.Contents().size(), 3u);
  EXPECT_EQ(view.Contents()[0], a);
  EXPECT_EQ(view.Last().LabStep, "b");
}

TEST(HeadlessProgressView, ClearForgetsTheRecordButNotTheShownState) {
  HeadlessProgressView view;
  const ProgressWindowContent designed;
  view.Show(designed);
  ProgressWindowContent changed;
  changed.Label3 = "2";
  view.Update(changed);
  view.Clear();
  EXPECT_TRUE(view.IsShown());
  EXPECT_EQ(view.ShowCount(), 0);
  EXPECT_EQ(view.UpdateCount(), 0);
  EXPECT_TRUE(view.Contents().empty());
  EXPECT_TRUE(view.Calls().empty());
  // With nothing recorded, the last content is the window as designed.
  EXPECT_EQ(view.Last(), designed);
}

}  // namespace
}  // namespace tavric
