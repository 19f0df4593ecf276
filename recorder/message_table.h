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

// A table with one row for each message of a type, derived from the type's descriptor. Each field
// that is not repeated has a column with its name. For fields of a nested message, the column name
// is prefixed with the outer field's name and "_". Enumerations are stored by name, booleans as 0
// and 1, unsigned 64-bit numbers as signed ones. A field that is not set is NULL.
//
// The first columns are record_id, the record that contained the message, and interface.
class MessageTable {
 public:
  struct Column {
    std::string name;
    // The fields from the outermost message to the column's field.
    std::vector<const google::protobuf::FieldDescriptor*> path;
  };

  MessageTable(std::string_view name, const google::protobuf::Descriptor& message);

  const std::string& name() const { return name_; }
  const std::vector<Column>& columns() const { return columns_; }

  // SQL statements. Insert has a parameter for each column, in order.
  std::string Create() const;
  std::string AddColumn(const Column& column) const;
  std::string Insert() const;

  // Binds the parameters of Insert. `message` and `interface` must stay valid until the statement
  // has run. A null interface is NULL.
  void Bind(std::int64_t record_id, const std::string* interface,
            const google::protobuf::Message& message, SQLite::Statement* insert) const;

 private:
  void AddColumns(const google::protobuf::Descriptor& message, const Column& parent);

  std::string name_;
  std::vector<Column> columns_;
};

// Returns whether a message contains anything that has no column in a MessageTable.
bool HasMoreThanColumns(const google::protobuf::Message& message);

}  // namespace orvane::recorder

#endif  // RECORDER_MESSAGE_TABLE_H_
