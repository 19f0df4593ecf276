#ifndef RECORDER_MESSAGE_TABLE_H_
#define RECORDER_MESSAGE_TABLE_H_

#include <SQLiteCpp/Statement.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::recorder {

// A table with a row for each message of a type, made from the type's description: a column for
// each field that is not repeated, under the field's name. Fields of a message in it have its name
// and "_" before theirs. Enumerations are stored by their names, booleans as 0 and 1, unsigned
// numbers of 64 bits as signed ones; a field that is not set is NULL.
//
// Before these columns come record_id, the record that brought the row, and interface.
class MessageTable {
 public:
  struct Column {
    std::string name;
    // From the outermost message to the field.
    std::vector<const google::protobuf::FieldDescriptor*> path;
  };

  MessageTable(std::string_view name, const google::protobuf::Descriptor& message);

  const std::string& name() const { return name_; }
  const std::vector<Column>& columns() const { return columns_; }

  // Statements of SQL. That of Insert has a parameter for each column, in order.
  std::string Create() const;
  std::string AddColumn(const Column& column) const;
  std::string Insert() const;

  // Binds the parameters of Insert. Message and interface must live until the statement has run;
  // a null interface is NULL.
  void Bind(std::int64_t record_id, const std::string* interface,
            const google::protobuf::Message& message, SQLite::Statement* insert) const;

 private:
  void AddColumns(const google::protobuf::Descriptor& message, const Column& parent);

  std::string name_;
  std::vector<Column> columns_;
};

// Whether a message has anything in it that a MessageTable has no column for.
bool HasMoreThanColumns(const google::protobuf::Message& message);

}  // namespace orvane::recorder

#endif  // RECORDER_MESSAGE_TABLE_H_
