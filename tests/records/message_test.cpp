// Messages: what is read of their properties, and whose these are.
#include <algorithm>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "records/members.h"
#include "support/heap.h"
#include "support/log.h"

using test::boolean;
using test::ListPtr;
using test::memberOf;
using test::number;
using test::object;
using test::text;

namespace {

constexpr bool mustExist = true;

const test::Members<Message> members{
    text<&Message::application_id>("app_id"),
    memberOf<&Message::type>("type", TC_short, "", mustExist),
    text<&Message::id>("id"),
    text<&Message::label>("label"),
    number<&Message::size>("size"),
    memberOf<&Message::priority>("pri", TC_short, "3"),
    number<&Message::deadline>("deadline"),
    boolean<&Message::hidden>("hidden"),
    text<&Message::depot_install_method>("depot_install_meth"),
    number<&Message::mandatory_date>("mand_date"),
    boolean<&Message::force_mandatory>("force_mandatory", "1"),
    memberOf<&Message::receive_method>("recv_meth", TC_string, "", mustExist),
    memberOf<&Message::arguments>("args", TC_any, "none"),
    text<&Message::callback_receive_method>("cb_recv_meth"),
    object<&Message::callback_target>("cb_target"),
    number<&Message::notify_interval>("notify_intv"),
    memberOf<&Message::data_source>("data_source", TC_short, "1"),
    memberOf<&Message::target_action>("target_action", TC_short, "1"),
    object<&Message::real_target>("real_target"),
    memberOf<&Message::method_context>("meth_context", TC_short, "2"),
    boolean<&Message::bulk_data_flag>("bulk_data_flag"),
    number<&Message::send_timeout>("send_timeout"),
    number<&Message::result_timeout>("result_timeout"),
    text<&Message::parent_distribution_id>("parent_dist_id"),
    boolean<&Message::is_result>("is_result"),
    boolean<&Message::repeater_multicast>("repeater_multicast"),
    boolean<&Message::endpoint_multicast>("endpoint_multicast"),
    boolean<&Message::ds_send_job>("ds_send_job"),
    boolean<&Message::xpk_send_job>("xpk_send_job"),
    boolean<&Message::is_xpk>("is_xpk"),
    text<&Message::xpk_multicast_url>("xpk_mc_url"),
    text<&Message::xpk_user_name>("xpk_username"),
    text<&Message::xpk_type>("xpk_type"),
    text<&Message::control_distribution_id>("cntl_dist_id"),
    text<&Message::cbe_distribution_id>("cbe_dist_id"),
    object<&Message::control_target>("cntl_target_oid"),
    boolean<&Message::is_exclusive>("is_exclusive"),
    boolean<&Message::is_roam>("is_roam"),
    boolean<&Message::roam_endpoints>("roam_endpoints", "1"),
    boolean<&Message::wake_on_lan>("wake_on_lan"),
    text<&Message::mobile_setup_method>("mob_setup"),
    text<&Message::depot_image_directory>("image_dir"),
    number<&Message::result_callback_timeout>("res_cb_timeout"),
    boolean<&Message::bulk_checkpoint>("bulk_checkpoint"),
    boolean<&Message::display_deferred>("display_DEFERRED"),
    boolean<&Message::prune_successful>("prune_successful"),
    number<&Message::prune_rewind>("prune_rewind"),
};

const test::Kind<Message> kind{members, message_from_properties, message_new_from_properties,
                               message_delete};

class MessageTest : public testing::Test {
protected:
  const test::RecordReading<Message> reading{kind};
};

} // namespace

TEST(NewMessage, IsZero) {
  Message *message = message_new();
  ASSERT_NE(message, nullptr);
  const auto *bytes = reinterpret_cast<const unsigned char *>(message);
  EXPECT_TRUE(std::all_of(bytes, bytes + sizeof *message, [](auto byte) { return byte == 0; }));
  message_delete(message);
}

TEST(NewMessage, IsNullForNull) {
  EXPECT_EQ(message_from_properties(nullptr), nullptr);
  EXPECT_EQ(message_new_from_properties(nullptr), nullptr);
  message_delete(nullptr);
}

TEST_F(MessageTest, HasDefaultsForWhatIsNotThere) { reading.expectDefaults(); }

TEST_F(MessageTest, HasEachMemberFromItsOwnKey) { reading.expectEachFromItsOwnKey(); }

TEST_F(MessageTest, HasAllMembersAtOnce) { reading.expectAll(); }

TEST_F(MessageTest, IsRefusedWithAValueOfAnotherType) { reading.expectTypes(); }

TEST_F(MessageTest, IsReadInOrder) { reading.expectOrder(); }

TEST_F(MessageTest, OwnsTheListThatItIsReadFrom) { reading.expectAdopted(); }

TEST_F(MessageTest, OwnsTheCopyThatItIsReadFrom) { reading.expectCopied(); }

TEST_F(MessageTest, IsNotReadWhereItsPropertiesCannotBeCopied) {
  reading.expectNoCopyOfTooMuchDepth();
}

TEST_F(MessageTest, LosesNothing) { reading.expectNothingLostInAll(); }

TEST_F(MessageTest, LosesNothingWhereReadingFails) { reading.expectNothingLostWithFailures(); }

TEST_F(MessageTest, HasZeroWhereMembersAreReserved) {
  Message *message = message_from_properties(reading.fullList().release());
  for (const uint32_t reserved : {message->reserved1, message->reserved2, message->reserved3,
                                  message->reserved4, message->reserved5, message->reserved6,
                                  message->reserved7, message->reserved8, message->reserved9}) {
    EXPECT_EQ(reserved, 0U);
  }
  message_delete(message);
}

TEST_F(MessageTest, HasArgumentsOfAnyType) {
  const ListPtr list = reading.listOfNeeded();
  const test::Value arguments(TC_any,
                              test::anyOf(TC_NEX_Sprig2_Properties, test::someProperties()));
  properties_put_any_dup(list.get(), "args", &arguments.as<any>());
  Message *message = message_new_from_properties(list.get());
  ASSERT_NE(message->arguments, nullptr);
  EXPECT_NE(_t_generic_equal(TC_any, nullptr, message->arguments, arguments.data()), 0);
  message_delete(message);
}

TEST_F(MessageTest, IgnoresOtherProperties) {
  const ListPtr list = reading.fullList();
  for (const char *key : {"TYPE", "priority", "", "u_id", "escalate_date.0", "data_path"}) {
    test::append(list.get(), key, test::anyOf(TC_ulong, uint32_t{7}));
  }
  Message *message = message_new_from_properties(list.get());
  EXPECT_EQ(message->properties->length, list->length);
  message_delete(message);
}

TEST_F(MessageTest, IsReleasedWithWhatItHasSoFar) {
  test::expectNothingLost([] {
    Message *message = message_new();
    message->properties = properties_new();
    properties_put_short_dup(message->properties, "type", 1);
    message_delete(message);
  });
}

TEST(MessageBuffer, IsABlockLikeAnyOther) {
  message_free_buffer(nullptr);
  test::expectNothingLost([] { message_free_buffer(mg_malloc(100)); });
}

TEST(MessageLog, IsEmpty) {
  const test::Log log;
  message_log();
  EXPECT_EQ(log.lines(), test::Lines{});
}
