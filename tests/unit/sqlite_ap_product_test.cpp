#include "ac_sql/sqlite_ap_product.h"

#include <cstring>

#include "ac_mib/ac_product.h"
#include "sql_world.h"

static const UINT8 PRODUCT_NAME[32] = {'n', 'e', 'w', '\'', '7'};

TEST_F(SqlWorld, a_new_type_is_stored_once)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, PRODUCT_NAME, 0x80000001, 8, 4, 2, 1), 0); }),
              "\n\n insert new ap type success\n");
    EXPECT_EQ(rows(db, "select * from ap_product_info"), (SqlRows{{"70", "new'7", "-2147483647", "8", "4", "2", "1"}}));
    EXPECT_EQ(query_ap_type_exist(70), 1);
    EXPECT_EQ(query_ap_type_exist(71), 0);
}

TEST_F(SqlWorld, a_stored_type_is_left_as_it_is_and_counts_as_success)
{
    (void)lines_of([] { sqlite_add_ap_type(70, PRODUCT_NAME, 1, 8, 4, 2, 0); });
    static const UINT8 other[32] = {'o'};
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, other, 2, 1, 1, 1, 1), 0); }),
              "E|this ap o already exist;\n\n\n insert new ap type success\n");
    EXPECT_EQ(rows(db, "select ap_name,product_id from ap_product_info"), (SqlRows{{"new'7", "1"}}));
}

TEST_F(SqlWorld, the_statements_of_a_learnt_type_are_worded_as_fixed)
{
    const auto add = [] { (void)sqlite_add_ap_type(70, PRODUCT_NAME, 9, 8, 4, 2, 1); };
    const std::string count = "select count(*) from ap_product_info where ap_type=70 ";
    EXPECT_EQ(statements(db, [&] { (void)lines_of(add); }),
              (std::vector<std::string>{count, "insert into ap_product_info values(70,'new''7',9,8,4,2,1)"}));
    EXPECT_EQ(statements(db, [&] { (void)lines_of(add); }), std::vector<std::string>{count});
}

TEST_F(SqlWorld, type_1_is_the_first_that_is_stored)
{
    (void)lines_of([] { EXPECT_EQ(sqlite_add_ap_type(1, PRODUCT_NAME, 1, 8, 4, 2, 0), 0); });
    EXPECT_EQ(cell(db, "select ap_type from ap_product_info"), "1");
}

TEST_F(SqlWorld, type_0_is_not_stored)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(0, PRODUCT_NAME, 1, 8, 4, 2, 0), 255); }),
              "E|add ap_type error. \n");
    EXPECT_EQ(cell(db, "select count(*) from ap_product_info"), "0");
}

TEST_F(SqlWorld, a_product_name_of_32_apostrophes_is_stored_whole)
{
    UINT8 name[32];
    memset(name, '\'', sizeof name);
    (void)lines_of([&] { EXPECT_EQ(sqlite_add_ap_type(70, name, 1, 8, 4, 2, 0), 0); });
    EXPECT_EQ(cell(db, "select ap_name from ap_product_info"), std::string(32, '\''));
}

TEST_F(SqlWorld, a_failed_insert_of_a_type_gives_255)
{
    run(db, "drop table ap_product_info");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, PRODUCT_NAME, 1, 8, 4, 2, 0), 255); }),
              "E|select ap_type error ret=1,errmsg=no such table: ap_product_info\n"
              "E|insert error ret=1,errmsg=no such table: ap_product_info\n");
}
